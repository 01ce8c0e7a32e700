// Character classes: Unicode's for 16-bit units, ASCII's for bytes. The same in every host,
// whatever its locale.
#pragma once

namespace velmora::platform {

/// General category L; surrogates and U+FFFD are no letters.
bool IsLetter(char16_t unit) noexcept;
/// A letter or general category Nd.
bool IsAlphanumeric(char16_t unit) noexcept;
/// Unicode's White_Space.
bool IsSpace(char16_t unit) noexcept;

constexpr char ToUpperAscii(char c) noexcept { return c >= 'a' && c <= 'z' ? char(c - 0x20) : c; }
constexpr char ToLowerAscii(char c) noexcept { return c >= 'A' && c <= 'Z' ? char(c + 0x20) : c; }
constexpr bool IsDigitAscii(char c) noexcept { return c >= '0' && c <= '9'; }
constexpr bool IsLetterAscii(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
/// 09 to 0D and 20.
constexpr bool IsSpaceAscii(char c) noexcept { return (c >= 0x09 && c <= 0x0D) || c == 0x20; }

}  // namespace velmora::platform
