// Numbers of seven bits to a byte, the lowest first; the top bit says that more follow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velmora {

/// Of any number.
inline constexpr std::size_t MOST_PACKED = 10;

/// Writes it where there is room for `MOST_PACKED` bytes; answers where it ends.
inline char *WritePacked(char *to, std::uint64_t number) noexcept {
  for (; number >= 0x80; number >>= 7U) *to++ = static_cast<char>(number | 0x80U);
  *to++ = static_cast<char>(number);
  return to;
}

inline void AppendPacked(std::string &bytes, std::uint64_t number) {
  char packed[MOST_PACKED];
  bytes.append(packed, WritePacked(packed, number));
}

/// Takes a number, which must be there, off the front of `bytes`.
inline std::uint64_t TakePacked(std::string_view &bytes) noexcept {
  std::uint64_t number = 0;
  for (unsigned shift = 0;; shift += 7) {
    const auto byte = static_cast<unsigned char>(bytes.front());
    bytes.remove_prefix(1);
    number |= std::uint64_t{byte & 0x7FU} << shift;
    if (byte < 0x80) return number;
  }
}

}  // namespace velmora
