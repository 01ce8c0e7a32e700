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
      : begin_(begin), at_(begin + tag.NameEnd()), end_(end - STEP), tag_(tag) {}

  bool Scan() noexcept {
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

/// At each bit, whether the number of bits up to and with it is odd.
constexpr std::uint32_t ParityUpTo(std::uint32_t bits) noexcept {
  for (unsigned distance = 1; distance < 32; distance *= 2) bits ^= bits << distance;
  return bits;
}

/// What `SkipTag` knows of a tag as it goes from block to block. Outside quotes each "=" has a
/// quote behind it and each quote that opens has "=" before it, so that a value is expected nowhere
/// else: quotes are where the table has them, and the first ">" outside them is the tag's.
template <QuotedBytes QUOTED, EventAttributes EVENTS>
class Skipper {
 public:
  static constexpr unsigned BLOCK = 32;
  enum class Step { GOES_ON, ENDED, UNUSUAL };

  /// Looks at a block; where the tag ends in it, `size` is up to and with the ">".
  Step Look(const std::uint8_t *at, std::uint32_t &size) noexcept {
    const std::uint32_t quotes =
        MaskWhere<BLOCK>(at, [](Bytes16 bytes) { return bytes == std::uint8_t{'"'}; });
    const std::uint32_t equals =
        MaskWhere<BLOCK>(at, [](Bytes16 bytes) { return bytes == std::uint8_t{'='}; });
    const std::uint32_t ends =
        MaskWhere<BLOCK>(at, [](Bytes16 bytes) { return bytes == std::uint8_t{'>'}; });
    const std::uint32_t beyond =
        MaskWhere<BLOCK>(at, [](Bytes16 bytes) { return bytes >= std::uint8_t{'~'}; });
    const std::uint32_t escapes =
        MaskWhere<BLOCK>(at, [](Bytes16 bytes) { return bytes == std::uint8_t{'\\'}; });
    const std::uint32_t others = MaskWhere<BLOCK>(at, [](Bytes16 bytes) {
      return (bytes == std::uint8_t{'\''}) | (bytes == std::uint8_t{'<'});
    });

    const std::uint32_t inside = ParityUpTo(quotes) ^ inside_before_;
    const std::uint32_t end = ends & ~inside;
    const std::uint32_t within = end == 0 ? ~0U : (end & -end) - 1;
    const std::uint32_t behind_equals = (equals & ~inside) << 1U | equals_before_;
    std::uint32_t unusual = escapes | (others & ~inside) | (behind_equals ^ (quotes & inside)) |
                            (QUOTED == QuotedBytes::ANY ? beyond & ~inside : beyond);
    if constexpr (EVENTS == EventAttributes::SOUGHT) unusual |= BeginEvents(at, quotes) & ~inside;
    if ((unusual & within) != 0) return Step::UNUSUAL;
    is_ascii_ &= (beyond & within) == 0;
    size = static_cast<std::uint32_t>(std::countr_one(within)) + 1;
    inside_before_ = 0 - (inside >> (BLOCK - 1));
    equals_before_ = (equals & ~inside) >> (BLOCK - 1);
    return end == 0 ? Step::GOES_ON : Step::ENDED;
  }

  bool is_ascii() const noexcept { return is_ascii_; }

 private:
  /// Where an "on" behind a space or a quote may begin, which the end of the block may cut off.
  std::uint32_t BeginEvents(const std::uint8_t *at, std::uint32_t quotes) noexcept {
    const std::uint32_t o = MaskWhere<BLOCK>(
        at, [](Bytes16 bytes) { return (bytes | std::uint8_t{0x20}) == std::uint8_t{'o'}; });
    const std::uint32_t n = MaskWhere<BLOCK>(
        at, [](Bytes16 bytes) { return (bytes | std::uint8_t{0x20}) == std::uint8_t{'n'}; });
    const std::uint32_t spaces =
        MaskWhere<BLOCK>(at, [](Bytes16 bytes) { return bytes <= std::uint8_t{' '}; });
    const std::uint32_t behind_space = (spaces | quotes) << 1U | space_before_;
    space_before_ = (spaces | quotes) >> (BLOCK - 1);
    return o & behind_space & (n >> 1U | 1U << (BLOCK - 1));
  }

  /// Of the block before: all bits, when it ends inside quotes; the lowest, when it ends in "=".
  std::uint32_t inside_before_ = 0;
  std::uint32_t equals_before_ = 0;
  /// The lowest bit, when it ends in a space or a quote.
  std::uint32_t space_before_ = 0;
  bool is_ascii_ = true;
};

template <QuotedBytes QUOTED, EventAttributes EVENTS>
bool Skip(std::span<const std::uint8_t> bytes, ScannedTag &tag) noexcept {
  using Skipper = Skipper<QUOTED, EVENTS>;
  Skipper skipper;
  // From the name on, in which none of the bytes is that are looked for: its size need not be
  // known.
  for (std::size_t at = 1; bytes.size() - at >= Skipper::BLOCK; at += Skipper::BLOCK) {
    std::uint32_t size;
    const auto step = skipper.Look(bytes.data() + at, size);
    if (step == Skipper::Step::GOES_ON) continue;
    if (step == Skipper::Step::UNUSUAL) return false;
    tag.size = static_cast<std::uint32_t>(at) + size;
    tag.is_ascii = skipper.is_ascii();
    return true;
  }
  return false;
}

/// "</", the longest name, and a step after it.
constexpr std::size_t LEAST = 40;

}  // namespace

bool ScanTagName(std::span<const std::uint8_t> bytes, ScannedTag &tag) noexcept {
  if (bytes.size() < LEAST) return false;
  tag.is_end = bytes[1] == '/';
  const std::uint8_t *const name = bytes.data() + (tag.is_end ? 2 : 1);
  tag.name_size = static_cast<std::uint32_t>(tag.name.Read(name));
  return tag.name_size != 0 && (tag.is_end || platform::IsLetterAscii(static_cast<char>(*name)));
}

bool ScanTag(std::span<const std::uint8_t> bytes, QuotedBytes quoted, ScannedTag &tag) noexcept {
  const std::uint8_t *const begin = bytes.data();
  const std::uint8_t *const end = begin + bytes.size();
  return quoted == QuotedBytes::ANY ? Scanner<QuotedBytes::ANY>(begin, end, tag).Scan()
                                    : Scanner<QuotedBytes::ASCII_ALONE>(begin, end, tag).Scan();
}

bool SkipTag(std::span<const std::uint8_t> bytes, QuotedBytes quoted, EventAttributes events,
             ScannedTag &tag) noexcept {
  if (bytes[tag.NameEnd()] == '>') {
    tag.size = static_cast<std::uint32_t>(tag.NameEnd()) + 1;
    tag.is_ascii = true;
    return true;
  }
  using enum QuotedBytes;
  using enum EventAttributes;
  if (quoted == ANY) {
    return events == PASSED ? Skip<ANY, PASSED>(bytes, tag) : Skip<ANY, SOUGHT>(bytes, tag);
  }
  return events == PASSED ? Skip<ASCII_ALONE, PASSED>(bytes, tag)
                          : Skip<ASCII_ALONE, SOUGHT>(bytes, tag);
}

}  // namespace velmora
