// Content codings: the compressed forms in which bodies travel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace velmora::host {

enum class ContentCoding { IDENTITY, GZIP, DEFLATE, BROTLI, ZSTD };

/// The coding that a Content-Encoding value names; an empty value is the plain body. None for names
/// that are not known, and for several codings on top of each other.
std::optional<ContentCoding> ParseContentCoding(std::string_view content_encoding) noexcept;

/// Does an Accept-Encoding value allow gzip?
bool AcceptsGzip(std::string_view accept_encoding) noexcept;

/// Takes the coding off a body, piece by piece.
class Decoder {
 public:
  enum class Status {
    /// All of the input is used up; the coding may go on, or end here (`IsComplete`).
    NEEDS_INPUT,
    /// The room is full; there may be more of it without further input.
    NEEDS_ROOM,
    /// The input is not in this coding; nothing more can be decoded.
    CORRUPT,
    OUT_OF_MEMORY,
  };

  struct Step {
    Status status;
    std::size_t produced;
  };

  virtual ~Decoder() = default;

  /// Decodes from the front of `input`, which is shortened by what was used, to the front of
  /// `room`.
  virtual Step Decode(std::string_view &input, std::span<char> room) noexcept = 0;
  /// May the body end with the input so far? An empty body may.
  virtual bool IsComplete() const noexcept = 0;
};

/// Null when memory cannot be had. Not for `IDENTITY`.
std::unique_ptr<Decoder> MakeDecoder(ContentCoding coding) noexcept;

}  // namespace velmora::host
