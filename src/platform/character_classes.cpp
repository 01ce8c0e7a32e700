#include "platform/character_classes.h"

#include <cstdint>

namespace velmora::platform {
namespace {

#include "platform/character_tables.inc"

/// `set` is one of the tables of indexes into WORDS.
bool Contains(const std::uint8_t (&set)[1024], char16_t unit) noexcept {
  return (WORDS[set[unit / 64]] >> (unit % 64) & 1) != 0;
}

}  // namespace

bool IsLetterBeyondAscii(char16_t unit) noexcept {
  return Contains(LETTERS, unit);
}

bool IsAlphanumericBeyondAscii(char16_t unit) noexcept {
  return Contains(ALPHANUMERICS, unit);
}

bool IsSpaceBeyondAscii(char16_t unit) noexcept {
  switch (unit) {
    case 0x0085:
    case 0x00A0:
    case 0x1680:
    case 0x2028:
    case 0x2029:
    case 0x202F:
    case 0x205F:
    case 0x3000:
      return true;
    default:
      return unit >= 0x2000 && unit <= 0x200A;
  }
}

}  // namespace velmora::platform
