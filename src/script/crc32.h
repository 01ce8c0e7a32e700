// CRC-32 of the reflected polynomial 0xEDB88320, as a running register.
#pragma once

#include <array>
#include <cstdint>

namespace velmora {

inline constexpr std::uint32_t CRC_START = 0xFFFFFFFF;

inline constexpr std::array<std::uint32_t, 256> CRC_TABLE = [] {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    std::uint32_t entry = i;
    for (int bit = 0; bit < 8; ++bit) entry = (entry >> 1) ^ ((entry & 1) != 0 ? 0xEDB88320U : 0U);
    table[i] = entry;
  }
  return table;
}();

/// The register after one more byte. There is no final inversion in this system.
constexpr std::uint32_t CrcFold(std::uint32_t crc, std::uint8_t byte) noexcept {
  return CRC_TABLE[(crc ^ byte) & 0xFF] ^ (crc >> 8);
}

}  // namespace velmora
