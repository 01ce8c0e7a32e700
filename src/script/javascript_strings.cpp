#include <algorithm>

#include "platform/character_classes.h"
#include "script/byte_search.h"
#include "script/string_reader.h"

namespace velmora {
namespace {

using LineBreak = Any<At<0, '\n'>, At<0, '\r'>>;
/// What ends code, perhaps.
using CodeStop = Any<At<0, '"'>, At<0, '\''>, At<0, '/'>, All<At<0, '<'>, At<1, '!'>>>;
using BlockEnd = All<At<0, '*'>, At<1, '/'>>;
template <char DELIMITER>
using TextStop = Any<At<0, DELIMITER>, At<0, '\\'>, LineBreak>;

constexpr bool IsBlank(char byte) noexcept {
  return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}
constexpr bool IsNamePart(char byte) noexcept {
  return platform::IsLetterAscii(byte) || platform::IsDigitAscii(byte) || byte == '_' ||
         byte == '$';
}
/// Tokens of their own, wherever they stand in code.
constexpr ByteSet SEPARATORS(";,:?()[]{}~");
/// The ends of operators, wherever they stand in code. "+" and "-" may belong to a number, and
/// "-->" may be nothing.
constexpr ByteSet OPERATOR_ENDS("=&|!%^*<");

}  // namespace

bool JavaScriptStrings::Next(std::string_view &string) noexcept {
  while ((at_ = FindBytes<CodeStop>(at_, end_)) != end_) {
    if (*at_ == '<') {
      if (BeginsHtmlComment()) {
        LeaveCode();
        html_comment_ = true;
        PassLine(at_ + 4);
      } else {
        ++at_;
      }
    } else if (*at_ != '/') {
      return ReadString(string);
    } else if (Begins(at_, "//")) {
      LeaveCode();
      PassLine(at_ + 2);
    } else if (Begins(at_, "/*")) {
      LeaveCode();
      PassBlock();
    } else if (at_ + 1 == end_) {
      return false;
    } else if (at_[1] == '=') {
      PassOperator(2);
    } else if (Divides()) {
      PassOperator(1);
    } else {
      return ReadRegex(string);
    }
  }
  return false;
}

bool JavaScriptStrings::ReadString(std::string_view &string) noexcept {
  if (MayFollowLongText()) LookForLongText(BetweenTokens());
  divides_ = false;
  const bool is_double = *at_ == '"';
  const char *const begin = at_ + 1;
  const char *stop = begin;
  while (true) {
    stop = is_double ? FindBytes<TextStop<'"'>>(stop, end_) : FindBytes<TextStop<'\''>>(stop, end_);
    if (stop == end_ || *stop != '\\') break;
    // An escaped line end may be CR LF.
    stop += Begins(stop + 1, "\r\n") ? 3 : 2;
    stop = std::min(stop, end_);
  }
  const bool closed = stop != end_ && *stop == *at_;
  return Give(string, begin, stop, closed ? stop + 1 : stop);
}

bool JavaScriptStrings::ReadRegex(std::string_view &string) noexcept {
  if (MayFollowLongText()) LookForLongText(BetweenTokens());
  divides_ = false;
  const char *stop = at_ + 1;
  while (true) {
    stop = FindBytes<TextStop<'/'>>(stop, end_);
    if (stop == end_ || *stop != '\\') break;
    stop = std::min(stop + 2, end_);
  }
  if (stop != end_ && *stop == '/') {
    ++stop;
    while (stop != end_ && (*stop == 'g' || *stop == 'i' || *stop == 'm')) ++stop;
  }
  return Give(string, at_, stop, stop);
}

void JavaScriptStrings::PassLine(const char *begin) noexcept {
  const char *const stop = FindBytes<LineBreak>(begin, end_);
  EnterCode(stop == end_ ? stop : stop + 1);
}

void JavaScriptStrings::PassBlock() noexcept {
  const char *const stop = FindBytes<BlockEnd>(at_ + 2, end_);
  EnterCode(stop == end_ ? stop : stop + 2);
}

void JavaScriptStrings::PassOperator(std::ptrdiff_t length) noexcept {
  divides_ = false;
  after_long_text_ = false;
  EnterCode(at_ + length);
}

/// "<<" is an operator, so that of "<<!--" the second "<" begins nothing.
bool JavaScriptStrings::BeginsHtmlComment() const noexcept {
  if (!Begins(at_, "<!--")) return false;
  const char *first = at_;
  while (first != passed_ && first[-1] == '<') --first;
  return (at_ - first) % 2 == 0;
}

void JavaScriptStrings::LeaveCode() noexcept {
  divides_ = Divides();
  if (MayFollowLongText()) LookForLongText(BetweenTokens());
}

bool JavaScriptStrings::Divides() const noexcept {
  const char *end = at_;
  while (end != passed_ && IsBlank(end[-1])) --end;
  if (end == passed_) return divides_;
  const char last = end[-1];
  if (IsNamePart(last)) return DividesBehindName(end);
  if (SEPARATORS.Has(last)) return last == ')';
  return !OPERATOR_ENDS.Has(last) && DividesByTable();
}

bool JavaScriptStrings::DividesBehindName(const char *end) const noexcept {
  const char *begin = end - 1;
  bool is_number = platform::IsDigitAscii(*begin);
  while (begin != passed_ && IsNamePart(begin[-1])) {
    --begin;
    is_number = is_number && platform::IsDigitAscii(*begin);
  }
  if (is_number) return true;
  // A number may end in the middle: "0x1fg", "1.e5do".
  if (platform::IsDigitAscii(*begin)) return DividesByTable();
  if (begin != passed_ && begin[-1] == '.') {
    const char *const dot = begin - 1;
    if (dot != passed_ && platform::IsDigitAscii(dot[-1])) return DividesByTable();
  }
  if (begin != passed_ && begin[-1] == '@') --begin;
  return !IsJavaScriptKeyword({begin, static_cast<std::size_t>(end - begin)});
}

bool JavaScriptStrings::DividesByTable() const noexcept {
  const CodeEnd code = ReadCode(BetweenTokens(), at_ + 1);
  return code.HasToken() ? DividesBehind(code.last) : divides_;
}

const char *JavaScriptStrings::BetweenTokens() const noexcept {
  const char *begin = at_;
  while (begin != passed_ && !SEPARATORS.Has(begin[-1])) --begin;
  return begin == passed_ ? begin : begin - 1;
}

}  // namespace velmora
