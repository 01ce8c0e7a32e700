// StateRun: the characters that a state of the tokenizer takes one after the other and stays.
//
// Most characters of a page do nothing, or nothing but go into the token at hand. Which those are
// in each state is worked out from the table itself when this is compiled, by running it on every
// ASCII character with actions that only note what was done. So a reader that takes them in bulk
// cannot disagree with the table.
#pragma once

#include <array>
#include <cstdint>

#include "html/tokenizer_table.h"

namespace velmora {

/// What the table looks at besides the character.
struct Situation {
  State state = State::TEXT;
  bool is_value_expected = false;
  State return_state = State::IN_TAG;
  char16_t quote = 0;
};

enum class RunEffect : std::uint8_t { NOTHING, APPEND, APPEND_UPPER };

struct StateRun {
  RunEffect effect = RunEffect::NOTHING;
  /// By byte; none above ASCII.
  std::array<bool, 256> covers{};
};

/// Actions that only note what was done.
class NotedActions {
 public:
  constexpr explicit NotedActions(const Situation &situation) : situation_(situation) {}

  constexpr void Enter(State) noexcept { ++others_; }
  constexpr void Append(char16_t) noexcept { ++appended_; }
  constexpr void AppendUpper(char16_t) noexcept { ++appended_upper_; }
  constexpr void HoldFromHere() noexcept { ++others_; }
  constexpr bool IsAtCallOffset() const noexcept { return false; }
  constexpr void TestByteOrder() noexcept { ++others_; }
  constexpr void GoToCallOffset() noexcept { ++others_; }
  constexpr void OpenQuote(char16_t, State) noexcept { ++others_; }
  constexpr bool IsOpenQuote(char16_t c) const noexcept { return c == situation_.quote; }
  constexpr State ReturnState() const noexcept { return situation_.return_state; }
  constexpr bool IsValueExpected() const noexcept { return situation_.is_value_expected; }
  constexpr bool IsNextOfEndName(char16_t) const noexcept { return false; }
  constexpr void CountEndName() noexcept { ++others_; }
  constexpr bool IsWholeEndName() const noexcept { return false; }
  constexpr void LogUnclosedTag() noexcept { ++others_; }
  constexpr void LogAutoclosing() noexcept { ++others_; }

  /// Nothing was done but `effect`, once.
  constexpr bool DidOnly(RunEffect effect) const noexcept {
    return others_ == 0 && appended_ == (effect == RunEffect::APPEND ? 1 : 0) &&
           appended_upper_ == (effect == RunEffect::APPEND_UPPER ? 1 : 0);
  }

 private:
  Situation situation_;
  int others_ = 0;
  int appended_ = 0;
  int appended_upper_ = 0;
};

constexpr StateRun RunOf(const Situation &situation, RunEffect effect) noexcept {
  StateRun run{effect, {}};
  for (char16_t c = 0; c < 0x80; ++c) {
    NotedActions actions(situation);
    const Taken taken = RunTable(situation.state, c, actions);
    run.covers[c] = taken == Taken::CONSUMED && actions.DidOnly(effect);
  }
  return run;
}

inline constexpr StateRun TEXT_RUN = RunOf({State::TEXT}, RunEffect::NOTHING);
inline constexpr StateRun COMMENT_RUN = RunOf({State::COMMENT}, RunEffect::NOTHING);
inline constexpr StateRun TAG_NAME_RUN = RunOf({State::TAG_NAME}, RunEffect::APPEND_UPPER);
inline constexpr StateRun IN_TAG_RUN = RunOf({State::IN_TAG}, RunEffect::NOTHING);
/// By whether a value is expected.
inline constexpr StateRun WORD_RUNS[] = {RunOf({State::WORD, false}, RunEffect::APPEND),
                                         RunOf({State::WORD, true}, RunEffect::APPEND)};
/// By the quote, the apostrophe first, and by whether the portion returns to a word.
inline constexpr StateRun QUOTED_RUNS[2][2] = {
    {RunOf({State::QUOTED, false, State::IN_TAG, u'\''}, RunEffect::APPEND),
     RunOf({State::QUOTED, false, State::WORD, u'\''}, RunEffect::APPEND)},
    {RunOf({State::QUOTED, false, State::IN_TAG, u'"'}, RunEffect::APPEND),
     RunOf({State::QUOTED, false, State::WORD, u'"'}, RunEffect::APPEND)}};

/// The run of a situation; null where characters are taken one by one.
constexpr const StateRun *FindRun(const Situation &situation) noexcept {
  switch (situation.state) {
    case State::TEXT:
    case State::RAW_TEXT:
      return &TEXT_RUN;
    case State::COMMENT:
      return &COMMENT_RUN;
    case State::TAG_NAME:
      return &TAG_NAME_RUN;
    case State::IN_TAG:
      return &IN_TAG_RUN;
    case State::WORD:
      return &WORD_RUNS[situation.is_value_expected ? 1 : 0];
    case State::QUOTED:
      return &QUOTED_RUNS[situation.quote == u'"' ? 1 : 0]
                         [situation.return_state == State::WORD ? 1 : 0];
    default:
      return nullptr;
  }
}

/// The one character that ends a run which covers all others of ASCII; 0 when there are more.
constexpr char OnlyStop(const StateRun &run) noexcept {
  char stop = 0;
  for (unsigned c = 1; c < 0x80; ++c) {
    if (run.covers[c]) continue;
    if (stop != 0) return 0;
    stop = static_cast<char>(c);
  }
  return stop;
}
static_assert(OnlyStop(TEXT_RUN) == '<' && TEXT_RUN.covers[0]);
static_assert(OnlyStop(RunOf({State::RAW_TEXT}, RunEffect::NOTHING)) == '<');
static_assert(OnlyStop(COMMENT_RUN) == '-' && COMMENT_RUN.covers[0]);

}  // namespace velmora
