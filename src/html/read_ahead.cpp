#include "html/read_ahead.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string>

#include "core/strings.h"
#include "core/switches.h"
#include "diag/log.h"
#include "html/bytes16.h"
#include "html/unit_text.h"

namespace velmora {
namespace {

bool HasRawText(const TagName &name) noexcept {
  return name == TagName("SCRIPT") || name == TagName("STYLE");
}

/// Any character but that one is passed over, beyond ASCII too.
bool PassesAllButOne(const StateRun &run) noexcept {
  return &run == &TEXT_RUN || &run == &COMMENT_RUN;
}

/// That one.
std::uint8_t StopOf(const StateRun &run) noexcept {
  return &run == &TEXT_RUN ? '<' : '-';
}

/// Where the byte stands first, or the size. Nearly always it is near.
std::size_t FindByte(std::span<const std::uint8_t> bytes, std::uint8_t byte) noexcept {
  static constexpr std::size_t NEAR = 32;
  if (bytes.size() >= NEAR) {
    const unsigned mask = MaskOf(Load16(bytes.data()) == byte) |
                          MaskOf(Load16(bytes.data() + NEAR / 2) == byte) << 16U;
    if (mask != 0) return static_cast<std::size_t>(std::countr_zero(mask));
  }
  const void *const found = std::memchr(bytes.data(), byte, bytes.size());
  if (found == nullptr) return bytes.size();
  return static_cast<std::size_t>(static_cast<const std::uint8_t *>(found) - bytes.data());
}

/// How many units of 16 bits come before one that is `stop` or a surrogate, or before the last few
/// of `most`.
std::size_t CountPassed(const std::uint8_t *units, std::size_t most, bool is_big_endian,
                        std::uint8_t stop) noexcept {
  static constexpr std::uint8_t SURROGATE = 0xD8;
  static constexpr std::uint8_t SURROGATE_BITS = 0xF8;
  std::size_t count = 0;
  for (; most - count >= sizeof(Bytes16); count += sizeof(Bytes16)) {
    const Bytes16 first = Load16(units + 2 * count);
    const Bytes16 second = Load16(units + 2 * count + sizeof first);
    const Bytes16 even = __builtin_shufflevector(first, second, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18,
                                                 20, 22, 24, 26, 28, 30);
    const Bytes16 odd = __builtin_shufflevector(first, second, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19,
                                                21, 23, 25, 27, 29, 31);
    const Bytes16 high = is_big_endian ? even : odd;
    const Bytes16 low = is_big_endian ? odd : even;
    const unsigned stops = MaskOf(((high == std::uint8_t{0}) & (low == stop)) |
                                  ((high & SURROGATE_BITS) == SURROGATE));
    if (stops != 0) return count + static_cast<std::size_t>(std::countr_zero(stops));
  }
  return count;
}

}  // namespace

void ReadAhead::Run(std::span<const std::uint8_t> bytes) {
  const CharsetShape *const shape = encodings_.Top().shape();
  if (shape == nullptr) return;
  bytes_ = bytes;
  FindHorizon(*shape);
  if (shape->IsWide()) {
    const StateRun *const run = IsAtHorizon() ? nullptr : FindRun(tokenizer_.situation());
    if (run != nullptr) TakeWideRun(*run, *shape);
    return;
  }
  while (!IsAtHorizon()) {
    const State state = tokenizer_.state();
    const StateRun *const run = state == State::TEXT ? &TEXT_RUN : FindRun(tokenizer_.situation());
    if (run != nullptr) TakeRun(*run, *shape);
    if (IsAtHorizon() || bytes_[position_.position()] != '<') return;
    if (state == State::TEXT ? !TakeTag(*shape)
                             : state != State::RAW_TEXT || !TakeInRawText(*shape)) {
      return;
    }
  }
}

bool ReadAhead::CompleteTag() {
  const CharsetShape *const shape = encodings_.Top().shape();
  if (shape == nullptr || shape->IsWide() || tokenizer_.state() != State::TAG_CLOSED ||
      IsAtHorizon() || !IsKnown(*shape, position_.position())) {
    return false;
  }
  const std::uint32_t begin = position_.position();
  const char16_t behind = bytes_[begin];
  tokenizer_.CompleteTag();
  const bool is_as_before = page_changes_ == page_.changes() &&
                            encoding_changes_ == encodings_.changes() &&
                            begin == position_.position();
  if (is_as_before) return true;
  // It was read before the handlers did anything, so it is what it was.
  tokenizer_.Take(behind);
  place_.Advance(behind);
  position_.Advance(1, static_cast<std::uint32_t>(page_.chunk().End()));
  return true;
}

/// Once a call and once after each edit.
void ReadAhead::FindHorizon(const CharsetShape &shape) {
  if (page_changes_ == page_.changes() && encoding_changes_ == encodings_.changes()) return;
  page_changes_ = page_.changes();
  encoding_changes_ = encodings_.changes();
  horizon_ = shape.SafeEnd(bytes_, position_.position(), tail_);
  tail_ = bytes_.size() - horizon_;
  is_logged_ = IsLogOn();
}

std::span<const std::uint8_t> ReadAhead::UpToHorizon() const noexcept {
  return bytes_.first(horizon_).subspan(position_.position());
}

void ReadAhead::TakeRun(const StateRun &run, const CharsetShape &shape) {
  const std::size_t begin = position_.position();
  const std::size_t size = FindEnd(run, shape) - begin;
  if (run.effect != RunEffect::NOTHING) {
    tokenizer_.TakeRun(run.effect, {reinterpret_cast<const char *>(bytes_.data()) + begin, size});
  }
  MoveOver(size);
}

std::size_t ReadAhead::FindEnd(const StateRun &run, const CharsetShape &shape) const noexcept {
  const std::size_t begin = position_.position();
  if (!is_logged_ && PassesAllButOne(run)) {
    return begin + FindByte(bytes_.subspan(begin, horizon_ - begin), StopOf(run));
  }
  std::size_t end = begin;
  while (end < horizon_ && run.covers[bytes_[end]] && shape.IsItself(bytes_[end])) ++end;
  if (is_logged_ && end > begin && end < bytes_.size() && !shape.IsItself(bytes_[end])) --end;
  return end;
}

void ReadAhead::TakeWideRun(const StateRun &run, const CharsetShape &shape) {
  const bool passes_all = !is_logged_ && PassesAllButOne(run);
  if (passes_all) {
    const std::size_t begin = position_.position();
    MoveOver(2 * CountPassed(bytes_.data() + begin, (horizon_ - begin) / 2,
                             shape.kind() == CharsetShape::Kind::UNITS_BIG_ENDIAN, StopOf(run)));
  }
  std::array<char, 256> narrow;
  for (std::size_t size = narrow.size(); size == narrow.size() && !IsAtHorizon();) {
    const std::uint8_t *const units = bytes_.data() + position_.position();
    const std::size_t most = std::min(narrow.size(), (horizon_ - position_.position()) / 2);
    for (size = 0; size < most; ++size) {
      const char16_t unit = shape.Unit(units + 2 * size);
      if (unit < 0x80 ? !run.covers[unit] : !passes_all || IsSurrogate(unit)) break;
      narrow[size] = static_cast<char>(unit);
    }
    // With the log on, the unit before one that may not be valid gives a line.
    if (is_logged_ && size > 0 && IsSurrogate(shape.Unit(units + 2 * size))) --size;
    tokenizer_.TakeRun(run.effect, {narrow.data(), size});
    if (is_logged_) place_.AdvanceOver({narrow.data(), size});
    position_.Advance(static_cast<std::uint32_t>(2 * size),
                      static_cast<std::uint32_t>(bytes_.size()));
  }
}

bool ReadAhead::TakeTag(const CharsetShape &shape) {
  // Every token has its line then.
  if constexpr (switches::TOKEN_TRACE) return false;
  const std::span<const std::uint8_t> bytes = UpToHorizon();
  if (!ScanTagName(bytes, tag_)) return false;
  const unsigned wanted = Wanted();
  const QuotedBytes quoted = is_logged_ || shape.kind() != CharsetShape::Kind::ASCII_ALONE
                                 ? QuotedBytes::ASCII_ALONE
                                 : QuotedBytes::ANY;
  const auto events = (wanted & Interest::EVENT_ATTRIBUTES) != 0 ? EventAttributes::SOUGHT
                                                                 : EventAttributes::PASSED;
  tag_.has_event_attribute = false;
  bool is_idle = (wanted & Interest::EVERYTHING) == 0 && SkipTag(bytes, quoted, events, tag_) &&
                 IsIdle(wanted, shape);
  if (!is_idle) {
    if (!ScanTag(bytes, quoted, tag_)) return false;
    is_idle = IsIdle(wanted, shape);
  }
  if (!IsKnown(shape, position_.position() + tag_.size - 1)) return false;
  if (!is_idle) {
    TakeInterestingTag();
  } else if (!tag_.is_end) {
    if ((wanted & Interest::DROPPED) == 0) elements_.HandleIdleStartTag(tag_.name, tag_.size);
  } else if (!elements_.HandleIdleEndTag(tag_.name)) {
    TakeInterestingTag();
  }
  MoveOver(tag_.size);
  return true;
}

/// What is wanted of a tag of this name. The tokenizer itself wants those before raw text.
unsigned ReadAhead::Wanted() const noexcept {
  if (tag_.is_end) return Interest::NOTHING;
  if (HasRawText(tag_.name)) return Interest::EVERYTHING;
  return handlers_.interest().In(tag_.name);
}

/// Nobody wants to see the tag, and the character after it, which completes it, is a whole one.
bool ReadAhead::IsIdle(unsigned wanted, const CharsetShape &shape) const {
  const std::size_t behind = position_.position() + tag_.size;
  if (behind >= horizon_ || !IsWholeCharacter(shape, behind)) return false;
  if ((wanted & Interest::EVERYTHING) != 0) return false;
  if ((wanted & Interest::EVENT_ATTRIBUTES) != 0 && tag_.has_event_attribute) return false;
  return (wanted & Interest::SCRIPT_LINKS) == 0 || (tag_.is_ascii && !HoldsScriptLink());
}

bool ReadAhead::HoldsScriptLink() const noexcept {
  const char *const begin = reinterpret_cast<const char *>(bytes_.data()) + position_.position();
  return ContainsNoCase("javascript:", {begin, tag_.size});
}

void ReadAhead::TakeInterestingTag() {
  AttributeWriter &attributes = tokenizer_.TakeTag(tag_.is_end, tag_.name.text());
  if (tag_.is_end) return;
  const char *const begin = reinterpret_cast<const char *>(bytes_.data()) + position_.position();
  for (std::size_t i = 0; i < tag_.token_count; ++i) {
    const ScannedTag::Token token = tag_.tokens[i];
    const std::string_view text(begin + token.begin, token.size);
    if (tag_.is_ascii) {
      attributes.AppendToken(text, token.begin, token.size);
    } else {
      attributes.AppendToken(Decode(token), token.begin, token.size);
    }
  }
}

/// The token's text as the loop makes it: characters that are not valid are left out. There are
/// others than ASCII in it, so ASCII stands for itself in the set wherever it stands.
std::string ReadAhead::Decode(ScannedTag::Token token) const {
  std::string text;
  std::size_t at = position_.position() + token.begin;
  const std::size_t end = at + token.size;
  while (at < end) {
    const std::size_t ascii = CountAscii(bytes_.data() + at, end - at);
    text.append(reinterpret_cast<const char *>(bytes_.data()) + at, ascii);
    at += ascii;
    if (at == end) break;
    const DecodedChar decoded = encodings_.Top().DecodeChar(bytes_.subspan(at));
    if (decoded.has_unit) AppendUtf8(text, decoded.unit);
    at += static_cast<std::size_t>(std::max(decoded.consumed, 1));
  }
  return text;
}

bool ReadAhead::TakeInRawText(const CharsetShape &shape) {
  const std::span<const std::uint8_t> bytes = UpToHorizon();
  const std::string_view name = tokenizer_.raw_end_name();
  const std::size_t longest = std::char_traits<char>::length("</>") + name.size();
  if (bytes.size() <= longest) return false;
  if (bytes[1] != '/') {
    if (!IsKnown(shape, position_.position() + 1)) return false;
    tokenizer_.TakeInRawText();
    MoveOver(1);
    return true;
  }
  for (std::size_t i = 2; i < longest; ++i) {
    if (!IsKnown(shape, position_.position() + i)) return false;
  }
  const char *const text = reinterpret_cast<const char *>(bytes.data()) + 2;
  const bool is_end = text[name.size()] == '>' &&
                      std::equal(name.begin(), name.end(), text, [](char expected, char c) {
                        return platform::ToUpperAscii(c) == expected;
                      });
  if (is_end) {
    tokenizer_.TakeTag(true, name);
    MoveOver(longest);
  } else {
    tokenizer_.TakeInRawText();
    MoveOver(1);
  }
  return true;
}

/// An ASCII character stands there, and it gives no log line.
bool ReadAhead::IsKnown(const CharsetShape &shape, std::size_t index) const noexcept {
  return shape.IsItself(bytes_[index]) &&
         (!is_logged_ || index + 1 == bytes_.size() || shape.IsItself(bytes_[index + 1]));
}

bool ReadAhead::IsWholeCharacter(const CharsetShape &shape, std::size_t index) const {
  if (is_logged_ || shape.IsItself(bytes_[index])) return IsKnown(shape, index);
  return encodings_.Top().DecodeChar(bytes_.subspan(index)).has_unit;
}

void ReadAhead::MoveOver(std::size_t size) {
  if (is_logged_) {
    place_.AdvanceOver(
        {reinterpret_cast<const char *>(bytes_.data()) + position_.position(), size});
  }
  position_.Advance(static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(bytes_.size()));
}

}  // namespace velmora
