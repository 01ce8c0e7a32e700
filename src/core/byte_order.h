// The byte-order test that tells 16-bit text from 8-bit text.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace velmora {

struct ByteOrder {
  bool big_endian;
  /// The trace line that says how it was found.
  const char *trace;
};

/// Looks at the first two bytes of a body: a byte-order mark, or a zero byte, which is taken for
/// the high byte of an ASCII character. None: not 16-bit text.
inline std::optional<ByteOrder> DetectByteOrder(std::span<const std::uint8_t> bytes) noexcept {
  if (bytes.size() < 2) return std::nullopt;
  const std::uint8_t first = bytes[0];
  const std::uint8_t second = bytes[1];
  if (first == 0xFF && second == 0xFE) return ByteOrder{false, "BOM found: little endian\n"};
  if (first == 0xFE && second == 0xFF) return ByteOrder{true, "BOM found: big endian\n"};
  if (first == 0x00) return ByteOrder{true, "Zero byte found: assuming big endian\n"};
  if (second == 0x00) return ByteOrder{false, "Zero byte found: assuming little endian\n"};
  return std::nullopt;
}

}  // namespace velmora
