// CEncoding: the converter between a page's bytes and the two internal forms of text.
//
// Single characters are 16-bit code units in "UCS-2LE"; text that is kept or written is "UTF-8".
// All conversion is GNU libiconv's, whose names for character sets are used.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "html/converter.h"
#include "html/decoder.h"

namespace velmora {

/// What `CEncoding::DecodeChar` found at the front of the bytes.
struct DecodedChar {
  /// Bytes consumed; -1 when they are not valid in the character set.
  std::int32_t consumed;
  /// Shift sequences, and letters that a composing decoder keeps back, are consumed without a unit;
  /// such a letter comes out later, as a unit with nothing consumed.
  bool has_unit;
  char16_t unit;

  bool IsInvalid() const noexcept { return consumed < 0; }
  /// The bytes end inside a character: more input is needed.
  bool IsIncomplete() const noexcept { return consumed == 0 && !has_unit; }

  static constexpr DecodedChar Invalid() noexcept { return {-1, false, 0}; }
  static constexpr DecodedChar Incomplete() noexcept { return {0, false, 0}; }
};

/// A converter for one character set.
class CEncoding {
 public:
  /// Opens both directions. A set that libiconv does not know leaves the object invalid.
  explicit CEncoding(std::string_view name);
  CEncoding(const CEncoding &) = delete;
  CEncoding &operator=(const CEncoding &) = delete;
  ~CEncoding();

  /// True only when both directions could be opened.
  bool IsValid() const noexcept;
  /// The name exactly as given to the constructor.
  const std::string &GetName() const noexcept { return name_; }

  /// Decodes the character at the front of `bytes`, which are all that is at hand.
  DecodedChar DecodeChar(std::span<const std::uint8_t> bytes) noexcept;

  /// The UTF-8 text in this character set; cut off where it does not convert. Empty when the
  /// encoder is invalid.
  std::string Encode(std::string_view text);

 private:
  bool IsTraced() const noexcept;

  std::string name_;
  Decoder decoder_;
  Converter encoder_;
  /// Whether the decoder may keep what it has taken in between calls.
  const bool has_shift_states_;
};

}  // namespace velmora
