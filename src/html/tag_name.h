// TagName: the name of a tag in two machine words.
//
// Nearly all names are short. As two words they are compared and looked up at once, and read from
// the page with a single load.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "html/bytes16.h"

namespace velmora {

class TagName {
 public:
  /// One byte is left for the NUL that ends it.
  static constexpr std::size_t LONGEST = 15;

  constexpr TagName() = default;
  /// `name` is not longer than `LONGEST`.
  constexpr explicit TagName(std::string_view name) noexcept {
    std::array<char, LONGEST + 1> bytes{};
    std::copy(name.begin(), name.end(), bytes.begin());
    words_ = std::bit_cast<std::array<std::uint64_t, 2>>(bytes);
  }

  /// Of any name: empty when it is longer than `LONGEST`.
  static constexpr TagName OfText(std::string_view name) noexcept {
    return name.size() <= LONGEST ? TagName(name) : TagName();
  }

  /// Reads a name, upper case from then on, off the front of 16 bytes, which must be there, and
  /// returns its size; gives an empty name when it is longer than `LONGEST`. What belongs to a name
  /// is what the tokenizer's state for it takes of ASCII; the test of both paths holds the two
  /// together.
  std::size_t Read(const std::uint8_t *bytes) noexcept;

  std::size_t size() const noexcept {
    return words_[1] != 0 ? 16 - UnusedBytes(words_[1]) : 8 - UnusedBytes(words_[0]);
  }
  std::string_view text() const noexcept {
    return {reinterpret_cast<const char *>(words_.data()), size()};
  }
  std::uint64_t Hash() const noexcept {
    const std::uint64_t mixed = (words_[0] ^ words_[1] * 0x9E3779B97F4A7C15U) * 0xD6E8FEB86659FD93U;
    return mixed ^ mixed >> 32U;
  }

  friend bool operator==(const TagName &left, const TagName &right) noexcept {
    return ((left.words_[0] ^ right.words_[0]) | (left.words_[1] ^ right.words_[1])) == 0;
  }

 private:
  /// NULs at the end of a word.
  static std::size_t UnusedBytes(std::uint64_t word) noexcept {
    const int bits = std::endian::native == std::endian::little ? std::countl_zero(word)
                                                                : std::countr_zero(word);
    return static_cast<std::size_t>(bits) / 8;
  }

  std::array<std::uint64_t, 2> words_{};
};

inline std::size_t TagName::Read(const std::uint8_t *bytes) noexcept {
  static constexpr std::uint8_t CASE = 0x20;
  // Where the first `n` bytes are ones, for each `n` from `ONES + 16 - n`.
  static constexpr auto ONES = [] {
    std::array<std::uint8_t, 32> ones{};
    for (std::size_t i = 0; i < 16; ++i) ones[i] = 0xFF;
    return ones;
  }();
  const Bytes16 name = Load16(bytes);
  const Truths16 is_letter = ((name | CASE) - std::uint8_t{'a'}) < std::uint8_t{26};
  const Truths16 is_other = (name - std::uint8_t{'0'} < std::uint8_t{10}) |
                            (name == std::uint8_t{'.'}) | (name == std::uint8_t{'-'});
  const auto size = static_cast<std::size_t>(std::countr_one(MaskOf(is_letter | is_other)));
  if (size > LONGEST) {
    words_ = {};
    return 0;
  }
  const Bytes16 upper =
      (name & ~(reinterpret_cast<Bytes16>(is_letter) & CASE)) & Load16(ONES.data() + 16 - size);
  // Through registers: words read from where 16 bytes have just been stored come late.
  using Words = std::uint64_t __attribute__((vector_size(16)));
  const Words words = reinterpret_cast<Words>(upper);
  words_ = {words[0], words[1]};
  return size;
}

}  // namespace velmora
