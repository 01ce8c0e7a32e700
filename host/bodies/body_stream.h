// BodyStream: the stage in which the plug-in works on a body.
//
// A part is given to the plug-in in slices of bounded size, because every edit moves the bytes
// after it inside the slice: so the cost of a page with many edits grows linearly with its size
// however large the parts are, and so does the memory stay bounded. After each slice the bytes
// that are final can be taken; a host that is held up by its client takes them later.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "host/bodies/body_buffer.h"
#include "host/bodies/transaction.h"
#include "host/codings/stage.h"
#include "host/limits/limits.h"
#include "host/limits/memory_watch.h"
#include "host/loading/plugin.h"

namespace velmora::host {

enum class StreamState {
  /// Bytes go through the plug-in.
  FILTERING,
  /// Bytes go by as they come: the plug-in did not want the body, or a limit was passed.
  PASSING,
  /// The whole body is out.
  FINISHED,
  /// A limit was passed and the policy is to fail, or the body was aborted: no more bytes come out.
  FAILED,
};

struct StreamOptions {
  std::uint32_t slice_size = 64U << 10;
  Limits limits{};
  /// Hears of every edit; outlives the stream.
  EditListener *edits = nullptr;
};

/// The transaction outlives it.
class BodyStream final : public Stage {
 public:
  /// A null processor counts as memory that could not be had.
  BodyStream(Stage &before, ProcessorPointer processor, Transaction &transaction,
             const StreamOptions &options = {}) noexcept;
  ~BodyStream();

  /// The next bytes that may go on. With the last part comes what the plug-in held back to the end.
  Part Next() noexcept override;
  /// Ends the transaction; bytes not taken are dropped.
  void Abort() noexcept;
  /// From now on bytes go by as they come.
  void PassRest() noexcept;
  /// Says why filtering or decoding stops, and aborts if the policy says so.
  void Report(StopReason reason) noexcept;

  StreamState State() const noexcept { return state_; }
  /// Processor time that the plug-in has taken for the body.
  std::chrono::nanoseconds TimeSpent() const noexcept { return time_spent_; }

 private:
  /// Gets the next part; false when there is none for now.
  bool Draw() noexcept;
  void ProcessSlice() noexcept;
  /// Why what it should have done may not be done, if it is so; the same below.
  std::optional<StopReason> CallProcessor(bool is_last) noexcept;
  std::optional<StopReason> Trouble(const MemoryWatch &memory) const noexcept;
  void Stop(StopReason reason) noexcept;
  void ReleaseProcessor() noexcept;
  void GiveMemoryBack() const noexcept;

  Stage &before_;
  const StreamOptions options_;
  Transaction &transaction_;
  BodyBuffer buffer_;
  ProcessorPointer processor_;
  StreamState state_ = StreamState::FILTERING;
  /// What is left of the part drawn last.
  Part part_;
  bool started_ = false;
  bool is_end_told_ = false;
  std::chrono::nanoseconds time_spent_{0};
  std::uint64_t filtered_ = 0;
};

}  // namespace velmora::host
