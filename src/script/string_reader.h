// The string readers: the string literals of a script in memory, without its other tokens.
//
// A reader goes from one string, comment or "/" to the next and passes over the code between. What
// it has passed over is looked at where it matters alone: whether a "/" divides or begins a regular
// expression follows from the token before it, and mostly from the byte before it. Where a glance
// does not tell, the lexer's table reads that piece of code.
//
// The strings are those that the lexer's token list holds, in the same order. The list misreads a
// string that stands next to another text of more than a page, in a way that only the list itself
// knows; a reader stops there.
#pragma once

#include <cstddef>
#include <string_view>

#include "script/code_reading.h"
#include "script/token_list.h"

namespace velmora {

/// What both languages share.
class StringReader {
 public:
  /// The reader has stopped before the script's end: the next string can only be had from a list.
  bool IsLost() const noexcept { return is_lost_; }

 protected:
  using CodeReader = CodeEnd (*)(std::string_view code, bool html_comment) noexcept;

  StringReader(std::string_view script, CodeReader read_code) noexcept
      : at_(script.data()), end_(at_ + script.size()), passed_(at_), read_code_(read_code) {}

  bool Begins(const char *place, std::string_view text) const noexcept {
    return std::string_view(place, static_cast<std::size_t>(end_ - place)).starts_with(text);
  }
  /// The table's word on the code from `begin`, between two tokens, to `end`.
  CodeEnd ReadCode(const char *begin, const char *end) const noexcept {
    return read_code_({begin, static_cast<std::size_t>(end - begin)}, html_comment_);
  }

  /// May the last token be a long text? Asked before anything that is not code.
  bool MayFollowLongText() const noexcept {
    return after_long_text_ || at_ - passed_ > static_cast<std::ptrdiff_t>(LONG_TEXT);
  }
  /// Finds out, from the code between `begin`, which is between two tokens, and `at_`.
  void LookForLongText(const char *begin) noexcept;
  bool EndsInLongInteger(const char *begin) const noexcept;
  /// Code begins at `place`.
  void EnterCode(const char *place) noexcept { passed_ = at_ = place; }
  /// Hands out [begin, end) as a string, after which code begins at `next`. False when only the
  /// list knows what it is.
  bool Give(std::string_view &string, const char *begin, const char *end,
            const char *next) noexcept;

  static constexpr std::size_t LONG_TEXT = CScriptTokenList::LONGEST_PLAIN_TEXT;

  /// Where the script is read on.
  const char *at_;
  const char *const end_;
  /// Nothing but code stands from here to `at_`.
  const char *passed_;
  /// "<!--" was seen.
  bool html_comment_ = false;
  /// The last token is a long text.
  bool after_long_text_ = false;

 private:
  const CodeReader read_code_;
  bool is_lost_ = false;
};

class JavaScriptStrings : public StringReader {
 public:
  explicit JavaScriptStrings(std::string_view script) noexcept
      : StringReader(script, ReadJavaScriptCode) {}
  /// The next string or regular expression; false when there is none or the reader `IsLost`.
  bool Next(std::string_view &string) noexcept;

 private:
  bool ReadString(std::string_view &string) noexcept;
  bool ReadRegex(std::string_view &string) noexcept;
  void PassLine(const char *begin) noexcept;
  void PassBlock() noexcept;
  void PassOperator(std::ptrdiff_t length) noexcept;
  void LeaveCode() noexcept;
  bool BeginsHtmlComment() const noexcept;

  /// Would a "/" at `at_` divide?
  bool Divides() const noexcept;
  bool DividesBehindName(const char *end) const noexcept;
  bool DividesByTable() const noexcept;
  /// The last place before `at_` that is surely between two tokens.
  const char *BetweenTokens() const noexcept;

  /// Would a "/" at `passed_` divide?
  bool divides_ = false;
};

class VBScriptStrings : public StringReader {
 public:
  explicit VBScriptStrings(std::string_view script) noexcept
      : StringReader(script, ReadVBScriptCode) {}
  /// The next string or date; false when there is none or the reader `IsLost`.
  bool Next(std::string_view &string) noexcept;

 private:
  bool ReadString(std::string_view &string) noexcept;
  bool ReadDate(std::string_view &string) noexcept;
  void LeaveCode() noexcept;
  void PassLine(const char *begin) noexcept;
  void PassWord() noexcept;
  bool IsRemark(const char *end) const noexcept;
  /// The last place before `at_` that is surely between two tokens.
  const char *BetweenTokens() const noexcept;
};

}  // namespace velmora
