// Sixteen bytes looked at together. Comparisons are written as for one byte: the compiler has
// vectors of bytes for every processor; only the mask of a comparison is made differently.
#pragma once

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

}  // namespace velmora
