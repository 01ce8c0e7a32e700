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
std::optional<ByteOrder> DetectByteOrder(std::span<const std::uint8_t> bytes) noexcept;

}  // namespace velmora
