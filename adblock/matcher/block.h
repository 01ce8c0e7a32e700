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
/// Copies a block of bytes in lower case; the bits of those that belong to tokens.
inline std::uint64_t LowerBlock(const char *from, char *block) noexcept {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(from));
  // Moves the bytes that are meant to the upper end of the signed ones.
  const auto within = [](__m128i of, char last, char count) noexcept {
    const __m128i moved = _mm_add_epi8(of, _mm_set1_epi8(static_cast<char>(127 - last)));
    return _mm_cmpgt_epi8(moved, _mm_set1_epi8(static_cast<char>(127 - count)));
  };
  const __m128i lower_bit = _mm_set1_epi8(0x20);
  const __m128i letters = within(_mm_or_si128(bytes, lower_bit), 'z', 26);
  _mm_storeu_si128(reinterpret_cast<__m128i *>(block),
                   _mm_or_si128(bytes, _mm_and_si128(letters, lower_bit)));
  const __m128i token = _mm_or_si128(within(bytes, '9', 10), letters);
  return static_cast<std::uint32_t>(_mm_movemask_epi8(token));
}

/// The bits of those bytes of a block in lower case that no host has: all but letters, digits, "-",
/// "." and "_".
inline std::uint64_t FindNoHostByte(const char *block) noexcept {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(block));
  const auto within = [&](char first, char count) noexcept {
    const __m128i distance = _mm_sub_epi8(bytes, _mm_set1_epi8(first));
    return _mm_cmpeq_epi8(_mm_min_epu8(distance, _mm_set1_epi8(static_cast<char>(count - 1))),
                          distance);
  };
  const __m128i host =
      _mm_or_si128(_mm_or_si128(within('0', 10), within('a', 26)),
                   _mm_or_si128(within('-', 2), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('_'))));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(host)) ^ 0xFFFFU;
}

/// The bits of those bytes of a block at which a URL within a text ends (`BYTE_ENDS_URL`).
inline std::uint64_t FindUrlEnd(const char *block) noexcept {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(block));
  const auto is = [&](char byte) noexcept { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(byte)); };
  const __m128i space = _mm_set1_epi8(' ');
  const __m128i low = _mm_cmpeq_epi8(_mm_min_epu8(bytes, space), bytes);
  const __m128i quotes = _mm_or_si128(_mm_or_si128(is('"'), is('\'')), is('`'));
  const __m128i brackets = _mm_or_si128(_mm_or_si128(is('<'), is('>')), is('\\'));
  const __m128i ends = _mm_or_si128(_mm_or_si128(low, is(0x7F)), _mm_or_si128(quotes, brackets));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(ends));
}

/// The bits of those bytes of a block that are `byte`.
inline std::uint64_t FindInBlock(const char *block, char byte) noexcept {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(block));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(byte))));
}
#else
namespace block_detail {
template <typename IsFound>
std::uint64_t Find(const char *block, IsFound is_found) noexcept {
  std::uint64_t bits = 0;
  for (unsigned at = 0; at < BLOCK; ++at) {
    bits |= static_cast<std::uint64_t>(is_found(block[at])) << at;
  }
  return bits;
}
}  // namespace block_detail

inline std::uint64_t LowerBlock(const char *from, char *block) noexcept {
  std::uint64_t bits = 0;
  for (unsigned at = 0; at < BLOCK; ++at) {
    block[at] = base::ToLowerAscii(from[at]);
    bits |= static_cast<std::uint64_t>(IsByte(block[at], BYTE_TOKEN)) << at;
  }
  return bits;
}

inline std::uint64_t FindNoHostByte(const char *block) noexcept {
  return block_detail::Find(block, [](char byte) { return !IsByte(byte, BYTE_HOST); });
}

inline std::uint64_t FindUrlEnd(const char *block) noexcept {
  return block_detail::Find(block, [](char byte) { return IsByte(byte, BYTE_ENDS_URL); });
}

inline std::uint64_t FindInBlock(const char *block, char byte) noexcept {
  return block_detail::Find(block, [=](char other) { return other == byte; });
}
#endif

/// What `find` finds in a block and in the one behind it.
template <typename Find>
inline std::uint64_t InTwoBlocks(const char *block, Find find) noexcept {
  return find(block) | find(block + BLOCK) << BLOCK;
}

}  // namespace velmora::adblock
