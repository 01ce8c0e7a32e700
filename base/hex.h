// Bytes as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace velmora::base {

/// Two small hexadecimal digits a byte.
inline std::string Hex(const std::uint8_t *bytes, std::size_t size) {
  constexpr char DIGITS[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    text += DIGITS[bytes[i] >> 4U];
    text += DIGITS[bytes[i] & 15U];
  }
  return text;
}

}  // namespace velmora::base
