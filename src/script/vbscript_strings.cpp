#include "platform/character_classes.h"
#include "script/byte_search.h"
#include "script/string_reader.h"

namespace velmora {
namespace {

using LineBreak = Any<At<0, '\n'>, At<0, '\r'>>;
using Remark = All<LetterAt<0, 'r'>, LetterAt<1, 'e'>, LetterAt<2, 'm'>>;
constexpr std::ptrdiff_t REMARK_LENGTH = 3;
/// What ends code, perhaps.
using CodeStop = Any<At<0, '"'>, At<0, '#'>, At<0, '\''>, All<At<0, '<'>, At<1, '!'>>, Remark>;
using StringStop = Any<At<0, '"'>, LineBreak>;
using DateStop = Any<At<0, '#'>, LineBreak>;

constexpr bool IsNamePart(char byte) noexcept {
  return platform::IsLetterAscii(byte) || platform::IsDigitAscii(byte) || byte == '_';
}
/// Tokens of their own, wherever they stand in code.
constexpr ByteSet SEPARATORS("&*,/)\\^(:");

}  // namespace

bool VBScriptStrings::Next(std::string_view &string) noexcept {
  while ((at_ = FindBytes<CodeStop>(at_, end_)) != end_) {
    switch (*at_) {
      case '"':
        return ReadString(string);
      case '#':
        return ReadDate(string);
      case '\'':
        // The end of the statement is a token.
        after_long_text_ = false;
        PassLine(at_ + 1);
        break;
      case '<':
        if (Begins(at_, "<!--")) {
          LeaveCode();
          html_comment_ = true;
          PassLine(at_ + 4);
        } else {
          ++at_;
        }
        break;
      default:
        PassWord();
    }
  }
  return false;
}

bool VBScriptStrings::ReadString(std::string_view &string) noexcept {
  LeaveCode();
  const char *const begin = at_ + 1;
  const char *stop = begin;
  while (true) {
    stop = FindBytes<StringStop>(stop, end_);
    if (!Begins(stop, "\"\"")) break;
    stop += 2;
  }
  const bool closed = stop != end_ && *stop == '"';
  return Give(string, begin, stop, closed ? stop + 1 : stop);
}

/// The text of a date has both its signs; a line break that ends it belongs to it and is read
/// again.
bool VBScriptStrings::ReadDate(std::string_view &string) noexcept {
  LeaveCode();
  const char *const stop = FindBytes<DateStop>(at_ + 1, end_);
  if (stop == end_) return Give(string, at_, stop, stop);
  return Give(string, at_, stop + 1, *stop == '#' ? stop + 1 : stop);
}

void VBScriptStrings::LeaveCode() noexcept {
  if (MayFollowLongText()) LookForLongText(BetweenTokens());
}

void VBScriptStrings::PassLine(const char *begin) noexcept {
  const char *const stop = FindBytes<LineBreak>(begin, end_);
  EnterCode(stop == end_ ? stop : stop + 1);
}

/// Passes over "rem", and over the line when it is a remark.
void VBScriptStrings::PassWord() noexcept {
  const char *end = at_ + REMARK_LENGTH;
  if (end != end_ && IsNamePart(*end)) {
    // No number has these letters in it, so they belong to a name that takes all of this.
    while (end != end_ && IsNamePart(*end)) ++end;
    at_ = end;
  } else if (IsRemark(end)) {
    LeaveCode();
    PassLine(end);
  } else {
    // A longer name ends here.
    after_long_text_ = false;
    EnterCode(end);
  }
}

/// Is the "rem" at `at_`, after which no name goes on, a name of its own?
bool VBScriptStrings::IsRemark(const char *end) const noexcept {
  const char *begin = at_;
  while (begin != passed_ && IsNamePart(begin[-1])) --begin;
  if (begin == at_) return true;
  // After a "." it may be the exponent of a number.
  const bool begins_token = begin == passed_ || begin[-1] != '.';
  const bool is_name = begins_token && platform::IsLetterAscii(*begin);
  return !is_name && ReadCode(BetweenTokens(), end).open_name == REMARK_LENGTH;
}

const char *VBScriptStrings::BetweenTokens() const noexcept {
  const char *begin = at_;
  while (begin != passed_ && !SEPARATORS.Has(begin[-1])) --begin;
  return begin == passed_ ? begin : begin - 1;
}

}  // namespace velmora
