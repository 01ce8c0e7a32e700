// A URL taken apart for questions: in lower case, with its host's place.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "block.h"
#include "hash.h"
#include "host_names.h"

namespace velmora::adblock {

/// What of a URL is looked at; rules speak of beginnings.
inline constexpr std::size_t MAX_URL = 2048;
/// What of one within a text is, where one may seem to begin at every other byte.
inline constexpr std::size_t MAX_URL_IN_TEXT = 512;
/// Of a URL's token, a word of letters and digits, this many first bytes are looked at.
inline constexpr std::size_t TOKEN_SIZE = 6;
/// By the bits of a token's first `TOKEN_SIZE` bytes, which say for each whether it belongs to one:
/// the word with the bytes of the token set.
inline constexpr std::array<std::uint64_t, 1U << TOKEN_SIZE> TOKEN_BYTES = [] {
  std::array<std::uint64_t, 1U << TOKEN_SIZE> masks{};
  for (std::size_t bits = 0; bits < masks.size(); ++bits) {
    masks[bits] = FIRST_BYTES[static_cast<std::size_t>(std::countr_one(bits))];
  }
  return masks;
}();

/// The pairs of bytes that a URL can begin with, in lower case, each at the place that
/// `MayBeginUrl` looks at for it.
inline constexpr std::array<std::uint16_t, 16> URL_BEGINNINGS = [] {
  std::array<std::uint16_t, 16> pairs{};
  for (const std::string_view pair : {"//", "ht", "ft", "ws"}) {
    pairs[(pair[0] ^ pair[1]) & 15] = static_cast<std::uint16_t>(pair[0] | pair[1] << 8);
  }
  return pairs;
}();

/// Can a URL begin with these two bytes? Turns nearly every place of a text down, in few steps
/// and with one branch.
inline bool MayBeginUrl(const char *text) noexcept {
  std::uint16_t bytes;
  std::memcpy(&bytes, text, sizeof bytes);
  // In lower case; nothing but "/" becomes one that is not a control character.
  const unsigned pair = bytes | 0x2020U;
  return URL_BEGINNINGS[(pair ^ pair >> 8) & 15] == pair;
}

/// Number of leading bytes of `text` that make a URL which begins exactly there: "//" or a
/// scheme that pages load from with "://", then a host, up to the first byte that cannot stand in
/// a URL. 0 when none begins there.
std::size_t UrlLength(std::string_view text) noexcept;

/// Bytes of a host or a URL in lower case, between zeros: a word can be read at each of them
/// and before and after each.
template <std::size_t ROOM>
class PaddedText {
 public:
  /// Takes at most `ROOM` bytes. Calls `visit` with the bits of those that belong to tokens, for 64
  /// bytes at a time and for those that are left.
  template <typename Visit>
  void Assign(std::string_view bytes, Visit visit) noexcept {
    size_ = bytes.size();
    std::memset(bytes_, 0, BEFORE);
    char *to = bytes_ + BEFORE;
    std::memset(to + size_, 0, AFTER);
    const char *from = bytes.data();
    std::size_t left = size_;
    for (; left >= 64; left -= 64, from += 64, to += 64) visit(LowerBlocks<4>(from, to));
    if (left > 0) visit(LowerRest(from, to, left));
  }
  const char *Data() const noexcept { return bytes_ + BEFORE; }
  std::size_t Size() const noexcept { return size_; }
  std::string_view View() const noexcept { return {Data(), size_}; }

 private:
  static constexpr std::size_t BEFORE = 8;
  /// Two blocks that are read from the last byte on, and a word after that.
  static constexpr std::size_t AFTER = 3 * BLOCK;

  template <unsigned COUNT>
  static std::uint64_t LowerBlocks(const char *from, char *to) noexcept {
    std::uint64_t bits = 0;
    for (unsigned block = 0; block < COUNT; ++block) {
      bits |= LowerBlock(from + block * BLOCK, to + block * BLOCK) << (block * BLOCK);
    }
    return bits;
  }
  /// The last `left` bytes, fewer than 64. Some are done twice, so that no byte beyond them is read
  /// and their number decides little.
  std::uint64_t LowerRest(const char *from, char *to, std::size_t left) noexcept {
    constexpr std::size_t TWO = 2 * BLOCK;
    if (size_ >= 64) return LowerBlocks<4>(from + left - 64, to + left - 64) >> (64 - left);
    if (left >= TWO) {
      return LowerBlocks<2>(from, to) | LowerBlocks<2>(from + left - TWO, to + left - TWO)
                                            << (left - TWO);
    }
    if (left >= BLOCK) {
      return LowerBlock(from, to) | LowerBlock(from + left - BLOCK, to + left - BLOCK)
                                        << (left - BLOCK);
    }
    std::memcpy(to, from, left);
    return LowerBlock(to, to);
  }

  std::size_t size_ = 0;
  char bytes_[BEFORE + ROOM + AFTER];
};

/// An absolute URL. Keeps a view of the text that it was made from.
class Url {
 public:
  explicit Url(std::string_view text) noexcept;
  Url(const Url &) = delete;
  Url &operator=(const Url &) = delete;

  /// False for what is no `scheme://host...`, and for hosts that cannot be as they are too long:
  /// nothing else is returned then.
  bool HasHost() const noexcept { return host_size_ != 0; }
  std::string_view Original() const noexcept { return original_; }
  std::string_view Lowered() const noexcept { return lowered_.View(); }
  /// The host without user, port and final dot.
  std::string_view Host() const noexcept { return Lowered().substr(host_, host_size_); }
  /// Requests spell such a host otherwise (`AsciiSpelling`).
  bool IsHostBeyondAscii() const noexcept { return is_host_beyond_ascii_; }
  std::size_t HostStart() const noexcept { return host_; }
  std::size_t HostEnd() const noexcept { return host_ + host_size_; }

  /// Most tokens that `ForEachToken` visits from one call of `before_some` to the next.
  static constexpr std::size_t SOME_TOKENS = 28;

  /// Calls `visit` for each token with its start and its bytes in a word, no more than
  /// `TOKEN_SIZE`; and `before_some` now and then.
  template <typename BeforeSome, typename Visit>
  void ForEachToken(BeforeSome before_some, Visit visit) const noexcept {
    // So many starts at a time that the word has the bits of all bytes looked at.
    constexpr std::size_t PIECE = 2 * SOME_TOKENS;
    static_assert(PIECE % 8 == 0 && PIECE + TOKEN_SIZE <= 64);
    std::uint64_t before = 0;
    for (std::size_t first = 0; first < original_.size(); first += PIECE) {
      const std::uint64_t bits = TokenBits(first);
      const char *const text = lowered_.Data() + first;
      before_some();
      std::uint64_t starts = bits & ~(bits << 1 | before) & ((std::uint64_t{1} << PIECE) - 1);
      for (; starts != 0; starts &= starts - 1) {
        const auto at = static_cast<std::size_t>(std::countr_zero(starts));
        visit(first + at, LoadWord(text + at) & TOKEN_BYTES[bits >> at & (TOKEN_BYTES.size() - 1)]);
      }
      before = bits >> (PIECE - 1) & 1;
    }
  }
  /// Where what is looked at of the token that begins at `start` ends.
  std::size_t TokenEnd(std::size_t start) const noexcept {
    constexpr std::uint64_t END = std::uint64_t{1} << TOKEN_SIZE;
    const std::uint64_t bits = TokenBits(start) >> (start % 8);
    return start + static_cast<std::size_t>(std::countr_zero(~bits | END));
  }

  /// Zero beyond the URL.
  std::uint8_t ByteBefore(std::size_t at) const noexcept {
    return static_cast<std::uint8_t>(lowered_.Data()[static_cast<std::ptrdiff_t>(at) - 1]);
  }
  /// The 8 bytes at `at`, zeros beyond the URL.
  std::uint64_t WordAt(std::size_t at) const noexcept { return LoadWord(lowered_.Data() + at); }

 private:
  /// Of the byte with the number `at`, rounded down to a multiple of 8, and of those after it.
  std::uint64_t TokenBits(std::size_t at) const noexcept {
    return LoadWord(reinterpret_cast<const char *>(token_bits_.data()) + at / 8);
  }
  void MarkTokens() noexcept;
  bool FindPlainHost() noexcept;
  void FindHost() noexcept;
  std::size_t NextBound(std::size_t at) const noexcept;

  std::string_view original_;
  std::size_t host_ = 0;
  std::size_t host_size_ = 0;
  bool is_host_beyond_ascii_ = false;
  /// One bit for each byte, and a word without any after them.
  std::array<std::uint64_t, MAX_URL / 64 + 1> token_bits_;
  PaddedText<MAX_URL> lowered_;
};

/// Calls `visit` for each suffix of `host` that begins with a label, the longest first, with the
/// place and the size of that label, until it answers true; says whether it did. `host` lies within
/// a `Url` or a `PageHost`.
template <typename Visit>
inline bool AnyHostSuffix(std::string_view host, Visit visit) noexcept {
  constexpr std::size_t PIECE = 2 * BLOCK;
  std::size_t start = 0;
  for (std::size_t first = 0; first < host.size(); first += PIECE) {
    const char *const piece = host.data() + first;
    std::uint64_t dots =
        InTwoBlocks(piece, [](const char *block) { return FindInBlock(block, '.'); });
    dots &= (std::uint64_t{1} << std::min(PIECE, host.size() - first)) - 1;
    for (; dots != 0; dots &= dots - 1) {
      const std::size_t dot = first + static_cast<std::size_t>(std::countr_zero(dots));
      if (visit(start, dot - start)) return true;
      start = dot + 1;
    }
  }
  return start < host.size() && visit(start, host.size() - start);
}

}  // namespace velmora::adblock
