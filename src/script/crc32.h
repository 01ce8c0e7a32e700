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

/// What each byte of the register becomes when another byte is folded after it.
inline constexpr std::array<std::uint32_t, 256> CRC_TABLE_AHEAD = [] {
  std::array<std::uint32_t, 256> table{};
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = CrcFold(CRC_TABLE[i], 0);
  return table;
}();

/// The register after two more bytes, `high` first. One lookup does not wait for the other.
constexpr std::uint32_t CrcFoldPair(std::uint32_t crc, std::uint8_t high,
                                    std::uint8_t low) noexcept {
  return CRC_TABLE_AHEAD[(crc ^ high) & 0xFF] ^ CRC_TABLE[((crc >> 8) ^ low) & 0xFF] ^ (crc >> 16);
}

}  // namespace velmora
