// DecodedBody: a body without its content coding, with an eye on how much comes of how little.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "host/codings/content_coding.h"
#include "host/limits/limits.h"

namespace velmora::host {

/// A body that swells out of all proportion is made to hurt whoever decodes it.
struct DecodingLimits {
  /// Decoded bytes for each byte that came, looked at beyond `free_size` decoded bytes: a small
  /// page of one repeated word is none of the kind.
  std::uint64_t ratio = 200;
  std::uint64_t free_size = 8U << 20;
  /// Decoded bytes of one body.
  std::uint64_t size = 1U << 30;

  bool AreExceededBy(std::uint64_t decoded, std::uint64_t encoded) const noexcept {
    return decoded > size || (decoded > free_size && decoded / ratio > encoded);
  }
};

/// Used by one thread.
class DecodedBody {
 public:
  DecodedBody(ContentCoding coding, const DecodingLimits &limits) noexcept;

  /// Gives the next piece, which stays where it is until `Next` answers empty.
  void Push(std::string_view piece) noexcept { piece_ = piece; }
  /// The same for the last piece.
  void Finish(std::string_view last_piece) noexcept;
  /// The next decoded bytes, good until the next call. Empty when there are none for now, and from
  /// the end on.
  std::string_view Next() noexcept;

  /// All is decoded, or no more can be.
  bool IsAtEnd() const noexcept { return is_at_end_; }
  /// What went wrong, if anything did.
  std::optional<StopReason> Trouble() const noexcept { return trouble_; }

 private:
  void End(StopReason reason) noexcept;

  const DecodingLimits limits_;
  std::unique_ptr<Decoder> decoder_;
  std::unique_ptr<char[]> room_;
  std::string_view piece_;
  bool piece_is_last_ = false;
  bool has_more_ = false;
  bool is_at_end_ = false;
  std::uint64_t encoded_ = 0;
  std::uint64_t decoded_ = 0;
  std::optional<StopReason> trouble_;
};

}  // namespace velmora::host
