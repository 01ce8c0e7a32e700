// BodyStream: the way of one response body through the plug-in.
//
//   BodyStream stream(plugin.CreateProcessor(), transaction);
//   for each piece that arrives:
//     for (auto out = stream.Push(piece); !out.empty(); out = stream.Next()) send(out);
//   at the end:
//     for (auto out = stream.Finish(); !out.empty(); out = stream.Next()) send(out);
//   if (stream.State() == StreamState::FAILED) break the response off;
//
// A piece is given to the plug-in in slices of bounded size, because every edit moves the bytes
// after it inside the slice: so the cost of a page with many edits grows linearly with its size
// however large the pieces are, and so does the memory stay bounded. After each slice the bytes
// that are final can be taken; a host that is held up by its client takes them later.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

#include "host/bodies/body_buffer.h"
#include "host/bodies/transaction.h"
#include "host/limits/limits.h"
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

/// Used by one thread at a time. The transaction outlives it.
class BodyStream {
 public:
  /// A null processor counts as memory that could not be had.
  BodyStream(ProcessorPointer processor, Transaction &transaction,
             const StreamOptions &options = {}) noexcept;
  ~BodyStream();

  /// Gives the next piece and answers the first bytes that may go on now, as `Next` does. All of an
  /// earlier piece was taken before; the piece stays where it is until `Next` answers empty.
  std::string_view Push(std::string_view piece) noexcept;
  /// The same for the last piece, which may be empty (and is, when a body's end is only known after
  /// its last byte). What the plug-in held back to the end comes out too.
  std::string_view Finish(std::string_view last_piece = {}) noexcept;
  /// The next bytes that may go on; empty when there are none for now. They are good until the next
  /// call, and may lie in the piece itself.
  std::string_view Next() noexcept;
  /// Before the first push: bytes that wait for those that are pushed, because more must come
  /// before it is known what they are. False when there is no memory for them: then the stream has
  /// stopped, and they are pushed like all others.
  bool Wait(std::string_view bytes) noexcept;
  std::string_view Waiting() noexcept { return buffer_.All(); }
  /// Ends the transaction; bytes not taken are dropped.
  void Abort() noexcept;
  /// From now on bytes go by as they come.
  void PassRest() noexcept;

  StreamState State() const noexcept { return state_; }

 private:
  void ProcessSlice() noexcept;
  /// False when it was in want of memory: what it should have done may not be done.
  bool CallProcessor(bool is_last) noexcept;
  void Stop(StopReason reason) noexcept;

  const StreamOptions options_;
  Transaction &transaction_;
  BodyBuffer buffer_;
  ProcessorPointer processor_;
  StreamState state_ = StreamState::FILTERING;
  std::string_view piece_;
  bool piece_is_last_ = false;
  bool has_waiting_ = false;
  bool started_ = false;
  std::chrono::nanoseconds time_spent_{0};
  std::uint64_t filtered_ = 0;
};

}  // namespace velmora::host
