// Looks at 16 bytes at once.
#pragma once

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <cstddef>
#include <cstdint>

#include "text.h"

namespace velmora::adblock {

/// Bytes of a block.
inline constexpr std::size_t BLOCK = 16;

#ifdef __SSE2__
/// Brings a block of bytes into lower case; the bits of those that belong to tokens.
inline std::uint64_t LowerBlock(char *block) noexcept {
  __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(block));
  const auto within = [&](char first, char count) noexcept {
    const __m128i distance = _mm_sub_epi8(bytes, _mm_set1_epi8(first));
    const __m128i limit = _mm_set1_epi8(static_cast<char>(count - 1));
    return _mm_cmpeq_epi8(_mm_min_epu8(distance, limit), distance);
  };
  bytes = _mm_or_si128(bytes, _mm_and_si128(within('A', 26), _mm_set1_epi8(0x20)));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(block), bytes);
  const __m128i token = _mm_or_si128(within('0', 10), within('a', 26));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(token));
}

/// The bits of those bytes of a block that are `byte`.
inline std::uint64_t FindInBlock(const char *block, char byte) noexcept {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(block));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(byte))));
}
#else
inline std::uint64_t LowerBlock(char *block) noexcept {
  std::uint64_t bits = 0;
  for (unsigned at = 0; at < BLOCK; ++at) {
    block[at] = base::ToLowerAscii(block[at]);
    bits |= static_cast<std::uint64_t>(IsByte(block[at], BYTE_TOKEN)) << at;
  }
  return bits;
}

inline std::uint64_t FindInBlock(const char *block, char byte) noexcept {
  std::uint64_t bits = 0;
  for (unsigned at = 0; at < BLOCK; ++at) {
    bits |= static_cast<std::uint64_t>(block[at] == byte) << at;
  }
  return bits;
}
#endif

}  // namespace velmora::adblock
