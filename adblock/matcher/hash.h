// Hashes: of short byte strings, for the index; and of whole files, to tell them apart.
//
// Both multiply and fold the halves of the product. Neither withstands somebody who makes
// collisions on purpose: what is found by a hash is compared byte for byte, and a file with the
// right fingerprint is still read with bounds checks.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace velmora::adblock {

namespace hash_detail {

__extension__ typedef unsigned __int128 Wide;

inline constexpr std::uint64_t ODD_A = 0x9E3779B97F4A7C15U;
inline constexpr std::uint64_t ODD_B = 0xD6E8FEB86659FD93U;

inline std::uint64_t Fold(std::uint64_t a, std::uint64_t b) noexcept {
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

inline std::uint64_t Scatter(std::uint64_t first, std::uint64_t rest) noexcept {
  std::uint64_t state = (first ^ rest * ODD_B) * ODD_A;
  state = (state ^ state >> 32) * ODD_B;
  return state ^ state >> 32;
}

template <typename Word>
inline std::uint64_t Load(const char *bytes) noexcept {
  Word word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

}  // namespace hash_detail

/// Of at most 24 of the bytes, the first, middle and last ones: for names and words that are looked
/// up and compared. Its bits are all as good as each other.
inline std::uint64_t HashBytes(std::string_view bytes) noexcept {
  using namespace hash_detail;
  const char *at = bytes.data();
  const std::size_t size = bytes.size();
  std::uint64_t first = 0;
  std::uint64_t rest = 0;
  if (size >= 8) {
    first = Load<std::uint64_t>(at);
    rest = Load<std::uint64_t>(at + size - 8);
    if (size > 16) rest ^= Load<std::uint64_t>(at + size / 2 - 4) * ODD_A;
  } else if (size >= 4) {
    first = Load<std::uint32_t>(at) | Load<std::uint32_t>(at + size - 4) << (8 * size - 32);
  } else if (size > 0) {
    first = Load<std::uint8_t>(at) | Load<std::uint8_t>(at + size / 2) << (8 * (size / 2)) |
            Load<std::uint8_t>(at + size - 1) << (8 * size - 8);
  }
  return Scatter(first, rest + size);
}

/// The same for bytes behind which 8 more can be read.
inline std::uint64_t HashPaddedBytes(const char *at, std::size_t size) noexcept {
  using namespace hash_detail;
  if (size >= 8) return HashBytes({at, size});
  return Scatter(Load<std::uint64_t>(at) & ((std::uint64_t{1} << (8 * size)) - 1), size);
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
