// Character classes: Unicode's for 16-bit units, ASCII's for bytes. The same in every host,
// whatever its locale.
#pragma once

#include "base/ascii.h"

namespace velmora::platform {

using base::IsDigitAscii;
using base::IsLetterAscii;
using base::IsSpaceAscii;
using base::ToLowerAscii;
using base::ToUpperAscii;

/// The classes of units above ASCII, looked up in tables.
bool IsLetterBeyondAscii(char16_t unit) noexcept;
bool IsAlphanumericBeyondAscii(char16_t unit) noexcept;
bool IsSpaceBeyondAscii(char16_t unit) noexcept;

constexpr bool IsAscii(char16_t unit) noexcept {
  return unit < 0x80;
}

/// General category L; surrogates and U+FFFD are no letters.
constexpr bool IsLetter(char16_t unit) noexcept {
  return IsAscii(unit) ? IsLetterAscii(static_cast<char>(unit)) : IsLetterBeyondAscii(unit);
}
/// A letter or general category Nd.
constexpr bool IsAlphanumeric(char16_t unit) noexcept {
  if (!IsAscii(unit)) return IsAlphanumericBeyondAscii(unit);
  const char c = static_cast<char>(unit);
  return IsLetterAscii(c) || IsDigitAscii(c);
}
/// Unicode's White_Space.
constexpr bool IsSpace(char16_t unit) noexcept {
  return IsAscii(unit) ? IsSpaceAscii(static_cast<char>(unit)) : IsSpaceBeyondAscii(unit);
}

}  // namespace velmora::platform
