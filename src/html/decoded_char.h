// DecodedChar: one character at the front of some bytes.
#pragma once

#include <cstdint>

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

}  // namespace velmora
