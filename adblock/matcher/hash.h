// Hashes: of short byte strings, for the index; and of whole files, to tell them apart.
//
// Both multiply and fold the halves of the product. Neither withstands somebody who makes
// collisions on purpose: what is found by a hash is compared byte for byte, and a file with the
// right fingerprint is still read with bounds checks.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace velmora::adblock {

static_assert(std::endian::native == std::endian::little, "first bytes are low bits here");

namespace hash_detail {

__extension__ typedef unsigned __int128 Wide;

inline constexpr std::uint64_t ODD_A = 0x9E3779B97F4A7C15U;
inline constexpr std::uint64_t ODD_B = 0xD6E8FEB86659FD93U;

inline std::uint64_t Fold(std::uint64_t a, std::uint64_t b) noexcept {
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

inline std::uint64_t Mix(std::uint64_t first, std::uint64_t rest) noexcept {
  return (first ^ rest * ODD_B) * ODD_A;
}

template <typename Word>
inline Word Load(const char *bytes) noexcept {
  Word word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

}  // namespace hash_detail

/// By count: the word with that many first bytes set.
inline constexpr std::array<std::uint64_t, 16> FIRST_BYTES = [] {
  std::array<std::uint64_t, 16> masks{};
  for (unsigned count = 0; count < masks.size(); ++count) {
    masks[count] = count < 8 ? (std::uint64_t{1} << (8 * count)) - 1 : ~std::uint64_t{0};
  }
  return masks;
}();

inline std::uint64_t LoadWord(const char *bytes) noexcept {
  return hash_detail::Load<std::uint64_t>(bytes);
}

/// Of fewer than 8 bytes in a word, zeros after them.
inline std::uint64_t HashWord(std::uint64_t word) noexcept {
  return hash_detail::Mix(word, 0);
}

/// Of the first and last 8 bytes and the size: for names and words that are looked up and compared.
/// The higher its bits the better.
inline std::uint64_t HashBytes(std::string_view bytes) noexcept {
  const std::size_t size = bytes.size();
  if (size >= 8) {
    return hash_detail::Mix(LoadWord(bytes.data()), LoadWord(bytes.data() + size - 8) + size);
  }
  std::uint64_t word = 0;
  if (size > 0) std::memcpy(&word, bytes.data(), size);
  return HashWord(word);
}

/// The same without a branch, for bytes before and after which 8 more can be read.
inline std::uint64_t HashPaddedBytes(const char *at, std::size_t size) noexcept {
  const std::size_t up_to_8 = std::min<std::size_t>(size, 8);
  const std::uint64_t last = std::uint64_t{0} - (up_to_8 >> 3);
  return hash_detail::Mix(LoadWord(at) & FIRST_BYTES[up_to_8],
                          (LoadWord(at + size - 8) + size) & last);
}

/// Of all bytes.
inline std::uint64_t HashAll(std::string_view bytes) noexcept {
  std::uint64_t hash = bytes.size();
  while (bytes.size() > 16) {
    hash = hash_detail::Fold(hash ^ LoadWord(bytes.data()), hash_detail::ODD_B);
    bytes.remove_prefix(8);
  }
  return hash_detail::Fold(hash ^ HashBytes(bytes), hash_detail::ODD_B);
}

/// 128 bits that tell one text from another.
struct Fingerprint {
  std::uint64_t words[2];

  friend bool operator==(const Fingerprint &, const Fingerprint &) noexcept = default;
};

/// Four independent chains, so that a core reads memory as fast as it can.
inline Fingerprint FingerprintOf(std::string_view bytes) noexcept {
  using namespace hash_detail;
  std::uint64_t chains[4] = {ODD_A, ODD_B, ~ODD_A, ~ODD_B};
  const char *at = bytes.data();
  std::size_t left = bytes.size();
  for (; left >= 64; at += 64, left -= 64) {
    for (std::size_t chain = 0; chain < 4; ++chain) {
      chains[chain] = Fold(chains[chain] ^ Load<std::uint64_t>(at + 16 * chain),
                           ODD_B ^ Load<std::uint64_t>(at + 16 * chain + 8)) +
                      ODD_A;
    }
  }
  std::uint64_t rest = bytes.size();
  for (; left >= 8; at += 8, left -= 8) rest = Fold(rest ^ Load<std::uint64_t>(at), ODD_A) + left;
  for (; left > 0; ++at, --left) rest = Fold(rest ^ Load<std::uint8_t>(at), ODD_A) + left;
  return {{Fold(chains[0] ^ rest, ODD_A ^ chains[1]) ^ Fold(chains[2] ^ rest, ODD_B ^ chains[3]),
           Fold(chains[0] ^ ODD_B, rest ^ chains[2]) ^ Fold(chains[1] ^ ODD_A, rest ^ chains[3])}};
}

}  // namespace velmora::adblock
