// Numbers of seven bits to a byte, the lowest first; the top bit says that more follow.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace velmora {

inline void AppendPacked(std::string &bytes, std::uint64_t number) {
  for (; number >= 0x80; number >>= 7U) bytes.push_back(static_cast<char>(number | 0x80U));
  bytes.push_back(static_cast<char>(number));
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
