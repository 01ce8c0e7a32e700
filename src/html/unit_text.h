// 16-bit units as UTF-8 text.
#pragma once

#include <string>

namespace velmora {

/// Appends the UTF-8 bytes of one UCS-2 code unit; a surrogate gives none. A pure function that
/// gives what libiconv's conversion from "UCS-2LE" to "UTF-8" gives for every unit.
constexpr void AppendUtf8(std::string &text, char16_t unit) {
  const auto byte = [&text](unsigned value) { text.push_back(static_cast<char>(value)); };
  if (unit < 0x80) {
    byte(unit);
  } else if (unit < 0x800) {
    byte(0xC0U | (unit >> 6U));
    byte(0x80U | (unit & 0x3FU));
  } else if (unit < 0xD800 || unit > 0xDFFF) {
    byte(0xE0U | (unit >> 12U));
    byte(0x80U | ((unit >> 6U) & 0x3FU));
    byte(0x80U | (unit & 0x3FU));
  }
}

}  // namespace velmora
