// Tokenizer: the state machine that cuts a page into tags.
//
// tokenizer_table.h says what comes next; here is what the actions do and what entering a state
// brings with it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "html/attribute_list.h"
#include "html/page_position.h"
#include "html/state_runs.h"
#include "html/text_place.h"
#include "html/tokenizer_table.h"

namespace velmora {

/// A completed tag.
struct Tag {
  /// Upper case; begins with "/" for an end tag; empty for comments, declarations and the like.
  std::string name;
  /// Its "<", relative to the hold point.
  std::uint32_t start = 0;
  AttributeWriter attributes;

  bool IsEndTag() const noexcept { return name.starts_with('/'); }
};

/// What the tokenizer tells its owner.
class TokenizerClient {
 public:
  /// A tag is complete; the position is just after it.
  virtual void OnTag(const Tag &tag) = 0;
  /// The body's second character has come: decides on the byte order by the bytes from the call's
  /// offset up to the position's.
  virtual void TestByteOrder() = 0;

 protected:
  ~TokenizerClient() = default;
};

class Tokenizer {
 public:
  Tokenizer(PagePosition &position, TextPlace &place, TokenizerClient &client)
      : position_(position), place_(place), client_(client) {}

  State state() const noexcept { return state_; }
  Situation situation() const noexcept { return {state_, value_expected_, return_state_, quote_}; }
  /// Runs the table on a character; once more as long as it says so.
  Taken Take(char16_t c) {
    Taken taken = RunTable(state_, c, *this);
    while (taken == Taken::AGAIN) taken = RunTable(state_, c, *this);
    return taken;
  }
  /// Takes characters that the run of the situation covers, without moving on.
  void TakeRun(RunEffect effect, std::string_view characters);
  /// Takes the characters of a whole tag, its ">" last, up to the one after it, that completes it.
  /// `name` is in upper case. The position is at its "<"; it is to be moved on.
  AttributeWriter &TakeTag(bool is_end, std::string_view name);
  /// After a ">": does what any character does there before it is taken itself.
  void CompleteTag() { Enter(State::TEXT); }
  /// Takes a "<" and what follows it, which do not end the raw text.
  void TakeInRawText() noexcept;
  /// The name of the element whose content is raw text; in that state.
  const std::string &raw_end_name() const noexcept { return raw_end_name_; }
  /// The body has ended: completes a pending tag.
  void Finish() {
    if (state_ != State::TEXT) CompleteTag();
  }

  // The actions of the table.
  void Enter(State next);
  void Append(char16_t c);
  void AppendUpper(char16_t c);
  void HoldFromHere() noexcept { position_.HoldFromHere(); }
  bool IsAtCallOffset() const noexcept { return position_.position() == position_.call_offset(); }
  void TestByteOrder() { client_.TestByteOrder(); }
  void GoToCallOffset() noexcept;
  void OpenQuote(char16_t quote, State return_state) noexcept;
  bool IsOpenQuote(char16_t c) const noexcept { return c == quote_; }
  State ReturnState() const noexcept { return return_state_; }
  bool IsValueExpected() const noexcept { return value_expected_; }
  bool IsNextOfEndName(char16_t c) const noexcept;
  void CountEndName() noexcept { ++end_name_matched_; }
  bool IsWholeEndName() const noexcept { return end_name_matched_ == raw_end_name_.size(); }
  void LogUnclosedTag() const noexcept;
  void LogAutoclosing() const noexcept;

 private:
  void BeginTag();
  void BeginToken();
  void EndToken(State from);
  void KeepToken();
  void EndTag();
  void LogPlace() const noexcept;

  PagePosition &position_;
  TextPlace &place_;
  TokenizerClient &client_;

  State state_ = State::START;
  char16_t quote_ = 0;
  /// Where the quoted portion returns to.
  State return_state_ = State::IN_TAG;
  /// The token before was "=".
  bool value_expected_ = false;
  /// Relative to the hold point; unknown while no token is open.
  std::uint32_t token_start_ = UNKNOWN;
  std::string token_;
  Tag tag_;
  /// The tokens of the tag as written, for the trace.
  std::vector<std::string> traced_tokens_;
  /// The element whose content is raw text, and how much of its name has come after "</".
  std::string raw_end_name_;
  std::size_t end_name_matched_ = 0;
};

}  // namespace velmora
