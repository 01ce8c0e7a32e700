// An address taken apart for questions: in lower case, with its host's place.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace velmora::adblock {

/// What of an address is looked at; rules speak of beginnings.
inline constexpr std::size_t MAX_ADDRESS = 4096;
/// Zeros behind an address in lower case.
inline constexpr std::size_t ADDRESS_PADDING = 64;

/// By byte: which of the beginnings "//", "ht", "ft" and "ws" have it first (bits 0 to 2), and
/// which have it second (bits 4 to 6).
inline constexpr std::array<std::uint8_t, 256> ADDRESS_BEGINNINGS = [] {
  std::array<std::uint8_t, 256> beginnings{};
  beginnings['/'] = 0x11;
  beginnings['h'] = beginnings['H'] = beginnings['f'] = beginnings['F'] = 0x02;
  beginnings['t'] = beginnings['T'] = 0x20;
  beginnings['w'] = beginnings['W'] = 0x04;
  beginnings['s'] = beginnings['S'] = 0x40;
  return beginnings;
}();

/// Can an address begin with these two bytes? Turns nearly every place of a text down.
inline bool MayBeginAddress(const char *text) noexcept {
  const auto beginnings = [](char byte) noexcept {
    return ADDRESS_BEGINNINGS[static_cast<std::uint8_t>(byte)];
  };
  return (beginnings(text[0]) & beginnings(text[1]) >> 4) != 0;
}

/// Number of leading bytes of `text` that make an address which begins exactly there: "//" or a
/// scheme that pages load from with "://", then a host, up to the first byte that cannot stand in
/// an address. 0 when none begins there.
std::size_t AddressLength(std::string_view text) noexcept;

/// An absolute address. Keeps a view of the text that it was made from.
class Address {
 public:
  explicit Address(std::string_view text) noexcept;
  Address(const Address &) = delete;
  Address &operator=(const Address &) = delete;

  /// False for what is no `scheme://host...`: nothing else is returned then.
  bool HasHost() const noexcept { return host_size_ != 0; }
  std::string_view Original() const noexcept { return original_; }
  std::string_view Lowered() const noexcept { return {lowered_.data(), original_.size()}; }
  /// The host without user, port and final dot.
  std::string_view Host() const noexcept { return Lowered().substr(host_, host_size_); }
  std::size_t HostStart() const noexcept { return host_; }
  std::size_t HostEnd() const noexcept { return host_ + host_size_; }

  /// Calls `visit` with the start and end of each token. It answers whether to stop.
  template <typename Visit>
  bool AnyToken(Visit visit) const noexcept {
    std::uint64_t before = 0;
    for (std::size_t word = 0; word * 64 < original_.size(); ++word) {
      const std::uint64_t bits = token_bytes_[word];
      for (std::uint64_t starts = bits & ~(bits << 1 | before); starts != 0; starts &= starts - 1) {
        const auto start = static_cast<std::size_t>(std::countr_zero(starts));
        std::size_t end = start + static_cast<std::size_t>(std::countr_one(bits >> start));
        for (std::size_t next = word + 1; end == 64 * (next - word) && next < token_bytes_.size();
             ++next) {
          end += static_cast<std::size_t>(std::countr_one(token_bytes_[next]));
        }
        if (visit(word * 64 + start, word * 64 + end)) return true;
      }
      before = bits >> 63;
    }
    return false;
  }

  /// The byte before `start` and the three behind `end`, zeros beyond the address.
  std::uint32_t Surroundings(std::size_t start, std::size_t end) const noexcept {
    std::uint32_t behind;
    std::memcpy(&behind, lowered_.data() + end, sizeof behind);
    const std::uint8_t before = start == 0 ? 0 : static_cast<std::uint8_t>(lowered_[start - 1]);
    return behind << 8 | before;
  }

 private:
  std::string_view original_;
  std::size_t host_ = 0;
  std::size_t host_size_ = 0;
  /// One bit for each byte, and a word without any behind them.
  std::array<std::uint64_t, MAX_ADDRESS / 64 + 1> token_bytes_;
  std::array<char, MAX_ADDRESS + ADDRESS_PADDING> lowered_;
};

/// A host's suffixes that begin with a label, the longest first, with their hashes.
class HostSuffixes {
 public:
  struct Suffix {
    std::uint64_t hash;
    std::uint32_t start;
    /// Of the label that it begins with.
    std::uint32_t label_size;
  };

  explicit HostSuffixes(std::string_view host) noexcept;

  std::string_view Host() const noexcept { return host_; }
  std::string_view Name(const Suffix &suffix) const noexcept { return host_.substr(suffix.start); }
  std::string_view Label(const Suffix &suffix) const noexcept {
    return host_.substr(suffix.start, suffix.label_size);
  }
  const Suffix *begin() const noexcept { return suffixes_.data(); }
  const Suffix *end() const noexcept { return suffixes_.data() + count_; }

 private:
  std::string_view host_;
  std::size_t count_ = 0;
  /// Hosts have fewer labels; what lies beyond in one that has not is not looked at.
  std::array<Suffix, 128> suffixes_;
};

/// The host as a page's: in lower case, without port and final dot.
class PageHost {
 public:
  explicit PageHost(std::string_view host) noexcept;
  std::string_view Get() const noexcept { return {text_.data(), size_}; }

 private:
  static constexpr std::size_t MAX_HOST = 256;
  std::array<char, MAX_HOST> text_;
  std::size_t size_;
};

}  // namespace velmora::adblock
