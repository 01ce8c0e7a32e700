// Sixteen bytes looked at together. Comparisons are written as for one byte: the compiler has
// vectors of bytes for every processor; only the mask of a comparison is made differently.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace velmora {

using Bytes16 [[gnu::vector_size(16)]] = std::uint8_t;
/// A comparison of each byte: all ones where it holds.
using Truths16 [[gnu::vector_size(16)]] = std::int8_t;

/// Reads 16 bytes, which must be there.
inline Bytes16 Load16(const std::uint8_t *bytes) noexcept {
  Bytes16 loaded;
  std::memcpy(&loaded, bytes, sizeof loaded);
  return loaded;
}

/// One bit for each byte, the first lowest.
inline unsigned MaskOf(Truths16 truths) noexcept {
#ifdef __SSE2__
  __m128i vector;
  std::memcpy(&vector, &truths, sizeof vector);
  return static_cast<unsigned>(_mm_movemask_epi8(vector));
#else
  unsigned mask = 0;
  for (unsigned i = 0; i < 16; ++i) mask |= (truths[i] != 0 ? 1U : 0U) << i;
  return mask;
#endif
}

/// One bit for each of so many bytes, which must be there: where `is_sought` holds.
template <unsigned COUNT, class Predicate>
std::uint32_t MaskWhere(const std::uint8_t *bytes, Predicate is_sought) noexcept {
  static_assert(COUNT % 16 == 0 && COUNT <= 32);
  std::uint32_t mask = 0;
  for (unsigned at = 0; at < COUNT; at += 16) {
    mask |= std::uint32_t{MaskOf(is_sought(Load16(bytes + at)))} << at;
  }
  return mask;
}

/// How many of `size` bytes come before the first beyond ASCII.
inline std::size_t CountAscii(const std::uint8_t *bytes, std::size_t size) noexcept {
  static constexpr std::uint8_t BEYOND = 0x80;
  std::size_t count = 0;
  while (size - count >= sizeof(Bytes16) && MaskOf(Load16(bytes + count) >= BEYOND) == 0) {
    count += sizeof(Bytes16);
  }
  while (count < size && bytes[count] < BEYOND) ++count;
  return count;
}

}  // namespace velmora
