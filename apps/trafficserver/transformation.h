// Transformation: a response's body on its way through the filter.
//
// Traffic Server keeps for a slow client all that comes out here. So what waits for the client is
// looked at: beyond a bound nothing more is taken, the origin's bytes stay where they are, and then
// they are not read. Traffic Server's own flow control, with bounds below ours, calls again when
// the client has caught up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <ts/ts.h>
#include <vector>

#include "host/responses/filtered_response.h"
#include "trafficserver/chunked_body.h"

namespace velmora::trafficserver {

class Transformation {
 public:
  enum class Body {
    PLAIN,
    /// In chunks that Traffic Server does not know of.
    CHUNKED
  };

  Transformation(TSHttpTxn transaction, std::unique_ptr<host::FilteredResponse> response) noexcept
      : transaction_(transaction), response_(std::move(response)) {}
  /// Has the transaction's body go through it; belongs to Traffic Server from then on.
  static void Add(std::unique_ptr<Transformation> transformation, Body body) noexcept;

  Transformation(const Transformation &) = delete;
  Transformation &operator=(const Transformation &) = delete;
  ~Transformation();

 private:
  static int OnEvent(TSCont continuation, TSEvent event, void *data) noexcept;

  /// Begins to send, if that has not begun; false when it must not.
  bool Open() noexcept;
  /// For a script of which something goes: the page that pins it would not run the rest.
  bool MustNotOpen() const noexcept;
  /// Takes what there is, as far as there is room for what comes of it.
  void Pump() noexcept;
  /// Writes what is ready and all that follows from what was taken; false when there is no room.
  bool Drain() noexcept;
  bool TakeBlock() noexcept;
  bool IsAllTaken() const noexcept;
  /// Finds what of the body is in the bytes; false when it ends here.
  bool Read(std::string_view bytes) noexcept;
  /// The upstream's bytes are all taken.
  void Finish() noexcept;
  void BreakOff() noexcept;
  void Tell(TSEvent event) const noexcept;

  bool HasRoom() const noexcept;
  std::int64_t WaitingForClient() const noexcept;
  void LookAgainLater() noexcept;

  const TSHttpTxn transaction_;
  const std::unique_ptr<host::FilteredResponse> response_;
  TSVConn connection_ = nullptr;
  TSVIO input_ = nullptr;
  TSIOBuffer buffer_ = nullptr;
  TSIOBufferReader reader_ = nullptr;
  TSVIO output_ = nullptr;
  std::int64_t written_ = 0;
  /// Came out of the filter and is not written yet.
  std::string_view ready_;
  /// What of the body is in the block that is worked on, and which part of that is next.
  std::vector<std::string_view> pieces_;
  std::size_t next_piece_ = 0;
  std::optional<ChunkedBody> chunked_;
  /// The size of that block.
  std::int64_t taken_ = 0;
  bool is_finishing_ = false;
  bool is_over_ = false;
  TSAction look_ = nullptr;
};

}  // namespace velmora::trafficserver
