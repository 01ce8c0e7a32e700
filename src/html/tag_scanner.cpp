#include "html/tag_scanner.h"

#include "html/bytes16.h"
#include "html/state_runs.h"

namespace velmora {
namespace {

/// A tag is looked at in steps of 16 bytes, and not closer than that to the end.
constexpr std::ptrdiff_t STEP = 16;

constexpr std::uint8_t BEYOND_ASCII = 0x80;

/// Bytes that may end a word, among them all that do.
unsigned WordStops(const std::uint8_t *at) noexcept {
  const Bytes16 bytes = Load16(at);
  return MaskOf((bytes <= std::uint8_t{' '}) |
                (bytes - std::uint8_t{'<'} <= std::uint8_t{'>' - '<'}) |
                (bytes == std::uint8_t{'"'}) | (bytes == std::uint8_t{'\''}) |
                (bytes == std::uint8_t{'\\'}) | (bytes >= std::uint8_t{'~'}));
}

/// `WordStops` leaves out only what goes on with a word.
constexpr bool IsSkippedInWords(unsigned byte) noexcept {
  return byte > ' ' && !(byte >= '<' && byte <= '>') && byte != '"' && byte != '\'' &&
         byte != '\\' && byte < '~';
}
static_assert([] {
  for (unsigned c = 0; c < 256; ++c) {
    if (IsSkippedInWords(c) && !(WORD_RUNS[0].covers[c] && WORD_RUNS[1].covers[c])) return false;
  }
  return true;
}());

template <QuotedBytes QUOTED>
class Scanner {
 public:
  /// Nothing at or after `end` is read.
  Scanner(const std::uint8_t *begin, const std::uint8_t *end, ScannedTag &tag) noexcept
      : begin_(begin), at_(begin), end_(end - STEP), tag_(tag) {}

  bool Scan() noexcept {
    tag_.is_end = begin_[1] == '/';
    at_ += tag_.is_end ? 2 : 1;
    tag_.name = TagName::Read(at_);
    const std::size_t size = tag_.name.size();
    const bool begins_with_letter = platform::IsLetterAscii(static_cast<char>(*at_));
    if (size == 0 || !(begins_with_letter || tag_.is_end)) return false;
    at_ += size;
    tag_.token_count = 0;
    tag_.has_event_attribute = false;
    tag_.is_ascii = true;
    if (!ScanTokens()) return false;
    tag_.size = static_cast<std::uint32_t>(at_ - begin_);
    return true;
  }

 private:
  /// As the states IN_TAG and WORD, up to and with the ">".
  bool ScanTokens() noexcept {
    while (at_ < end_ && tag_.token_count < ScannedTag::MOST_TOKENS) {
      const std::uint8_t c = *at_;
      if (c == '>') {
        ++at_;
        return true;
      }
      if (IN_TAG_RUN.covers[c]) {
        ++at_;
      } else if (c == '=') {
        Keep(at_++, 1);
        is_value_expected_ = true;
      } else if (c == '"' || c == '\'') {
        if (!ScanQuoted(c)) return false;
      } else if (!ScanWord()) {
        return false;
      }
    }
    return false;
  }

  bool ScanQuoted(std::uint8_t quote) noexcept {
    const std::uint8_t *const begin = at_++;
    for (; at_ < end_; at_ += STEP) {
      const Bytes16 bytes = Load16(at_);
      Truths16 stops = (bytes == quote) | (bytes == std::uint8_t{'\\'});
      unsigned beyond = MaskOf(bytes >= BEYOND_ASCII);
      unsigned mask;
      if constexpr (QUOTED == QuotedBytes::ASCII_ALONE) {
        mask = MaskOf(stops | (bytes >= std::uint8_t{'~'}));
      } else {
        mask = MaskOf(stops);
      }
      if (mask == 0) {
        if (beyond != 0) tag_.is_ascii = false;
        continue;
      }
      const int stop = std::countr_zero(mask);
      if ((beyond & ((1U << stop) - 1)) != 0) tag_.is_ascii = false;
      at_ += stop;
      if (*at_ != quote) return false;
      ++at_;
      Keep(begin, at_ - begin);
      is_value_expected_ = false;
      return true;
    }
    return false;
  }

  bool ScanWord() noexcept {
    const std::uint8_t *const begin = at_;
    const StateRun &run = WORD_RUNS[is_value_expected_ ? 1 : 0];
    for (; at_ < end_; ++at_) {
      const unsigned stops = WordStops(at_);
      if (stops == 0) {
        at_ += STEP - 1;
        continue;
      }
      at_ += std::countr_zero(stops);
      const std::uint8_t c = *at_;
      const bool is_odd =
          c >= BEYOND_ASCII || (QUOTED == QuotedBytes::ASCII_ALONE && (c == '\\' || c == '~'));
      if (!is_odd && run.covers[c]) continue;
      if (is_odd || c == '<' || (is_value_expected_ && c != '>' && !IN_TAG_RUN.covers[c]))
        return false;
      Keep(begin, at_ - begin);
      tag_.has_event_attribute |= (begin[0] | 0x20) == 'o' && (begin[1] | 0x20) == 'n';
      is_value_expected_ = false;
      return true;
    }
    return false;
  }

  void Keep(const std::uint8_t *begin, std::ptrdiff_t size) noexcept {
    tag_.tokens[tag_.token_count++] = {static_cast<std::uint32_t>(begin - begin_),
                                       static_cast<std::uint32_t>(size)};
  }

  const std::uint8_t *const begin_;
  const std::uint8_t *at_;
  const std::uint8_t *const end_;
  ScannedTag &tag_;
  bool is_value_expected_ = false;
};

/// "</", the longest name, and a step after it.
constexpr std::size_t LEAST = 40;

}  // namespace

bool ScanTag(std::span<const std::uint8_t> bytes, QuotedBytes quoted, ScannedTag &tag) noexcept {
  if (bytes.size() < LEAST) return false;
  const std::uint8_t *const begin = bytes.data();
  const std::uint8_t *const end = begin + bytes.size();
  return quoted == QuotedBytes::ANY ? Scanner<QuotedBytes::ANY>(begin, end, tag).Scan()
                                    : Scanner<QuotedBytes::ASCII_ALONE>(begin, end, tag).Scan();
}

}  // namespace velmora
