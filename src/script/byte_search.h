// FindBytes: the first place in a text where a pattern of bytes stands, 16 places at a time where
// the processor can.
//
// A pattern is a type made of these:
//   At<OFFSET, BYTE>         the byte so far after the place
//   LetterAt<OFFSET, BYTE>   the same in either case; the letter is given in lower case
//   All<Pattern...>          all of them
//   Any<Pattern...>          one of them
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace velmora {

/// Some bytes, looked up one at a time.
class ByteSet {
 public:
  consteval explicit ByteSet(std::string_view bytes) {
    for (const char byte : bytes) has_[static_cast<unsigned char>(byte)] = true;
  }
  constexpr bool Has(char byte) const noexcept { return has_[static_cast<unsigned char>(byte)]; }

 private:
  std::array<bool, 256> has_{};
};

#ifdef __SSE2__
/// One byte for each of 16 places: all ones where a pattern stands.
using PlaceMask = __m128i;

inline PlaceMask LoadBytes(const char *place) noexcept {
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(place));
}
#endif

template <std::ptrdiff_t OFFSET, char BYTE>
struct At {
  static constexpr std::ptrdiff_t REACH = OFFSET;
  static bool Stands(const char *place, const char *end) noexcept {
    return end - place > OFFSET && place[OFFSET] == BYTE;
  }
#ifdef __SSE2__
  static PlaceMask Stands16(const char *place) noexcept {
    return _mm_cmpeq_epi8(LoadBytes(place + OFFSET), _mm_set1_epi8(BYTE));
  }
#endif
};

template <std::ptrdiff_t OFFSET, char BYTE>
struct LetterAt {
  static_assert(BYTE >= 'a' && BYTE <= 'z');
  static constexpr std::ptrdiff_t REACH = OFFSET;
  static constexpr char CASE = 0x20;
  static bool Stands(const char *place, const char *end) noexcept {
    return end - place > OFFSET && (place[OFFSET] | CASE) == BYTE;
  }
#ifdef __SSE2__
  static PlaceMask Stands16(const char *place) noexcept {
    return _mm_cmpeq_epi8(_mm_or_si128(LoadBytes(place + OFFSET), _mm_set1_epi8(CASE)),
                          _mm_set1_epi8(BYTE));
  }
#endif
};

template <class First, class... Rest>
struct All {
  static constexpr std::ptrdiff_t REACH = std::max({First::REACH, Rest::REACH...});
  static bool Stands(const char *place, const char *end) noexcept {
    return First::Stands(place, end) && (Rest::Stands(place, end) && ...);
  }
#ifdef __SSE2__
  static PlaceMask Stands16(const char *place) noexcept {
    PlaceMask mask = First::Stands16(place);
    ((mask = _mm_and_si128(mask, Rest::Stands16(place))), ...);
    return mask;
  }
#endif
};

template <class First, class... Rest>
struct Any {
  static constexpr std::ptrdiff_t REACH = std::max({First::REACH, Rest::REACH...});
  static bool Stands(const char *place, const char *end) noexcept {
    return First::Stands(place, end) || (Rest::Stands(place, end) || ...);
  }
#ifdef __SSE2__
  static PlaceMask Stands16(const char *place) noexcept {
    PlaceMask mask = First::Stands16(place);
    ((mask = _mm_or_si128(mask, Rest::Stands16(place))), ...);
    return mask;
  }
#endif
};

/// The first place in [place, end) where the pattern may stand; at or after `end` when there is
/// none. Bytes up to `readable`, at or after `end`, are read and may be taken for the pattern's.
template <class Pattern>
const char *FindBytes(const char *place, const char *end, const char *readable) noexcept {
#ifdef __SSE2__
  // Made-up texts have it at the first place, again and again.
  if (Pattern::Stands(place, end)) return place;
  constexpr std::ptrdiff_t PLACES = 16;
  for (; place < end && readable - place >= PLACES + Pattern::REACH; place += PLACES) {
    const int mask = _mm_movemask_epi8(Pattern::Stands16(place));
    if (mask != 0) return place + std::countr_zero(static_cast<unsigned>(mask));
  }
#endif
  while (place < end && !Pattern::Stands(place, end)) ++place;
  return place;
}

/// The first place where the pattern stands; `end` when there is none. Nothing at or after `end`
/// is read.
template <class Pattern>
const char *FindBytes(const char *place, const char *end) noexcept {
  return FindBytes<Pattern>(place, end, end);
}

}  // namespace velmora
