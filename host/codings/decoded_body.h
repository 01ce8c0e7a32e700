// DecodedBody: a body without its content coding, with an eye on how much comes of how little.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "host/codings/content_coding.h"
#include "host/codings/stage.h"
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

/// The stage that takes the content coding off.
class DecodedBody final : public Stage {
 public:
  /// Not for `IDENTITY`. Memory is taken with the first bytes.
  DecodedBody(Stage &before, ContentCoding coding, const DecodingLimits &limits) noexcept
      : before_(before), coding_(coding), limits_(limits) {}

  Part Next() noexcept override;

 private:
  bool Start() noexcept;
  /// The next decoded bytes, if there are any without more input.
  std::string_view Decode() noexcept;
  void End(std::optional<StopReason> trouble) noexcept;

  Stage &before_;
  const ContentCoding coding_;
  const DecodingLimits limits_;
  std::unique_ptr<Decoder> decoder_;
  std::unique_ptr<char[]> room_;
  Part coded_;
  bool has_more_ = false;
  bool is_at_end_ = false;
  bool is_end_told_ = false;
  std::optional<StopReason> trouble_;
  std::uint64_t encoded_ = 0;
  std::uint64_t decoded_ = 0;
};

}  // namespace velmora::host
