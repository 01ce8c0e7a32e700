// The fast string readers against the lexers' tables, over scripts made of odd pieces.
#include "script/string_reader.h"

#include <gtest/gtest.h>
#include <random>

#include "both_paths.h"
#include "lexed.h"

namespace velmora::testing {
namespace {

std::string RandomRecipe(std::mt19937 &random, std::size_t longest) {
  std::string recipe;
  const std::size_t length = random() % (longest + 1);
  // The long pieces stand at the end of the table and are rare.
  const std::size_t rare = 6;
  for (std::size_t i = 0; i < length; ++i) {
    const std::size_t pieces = ScriptPieces().size() - (random() % 8 == 0 ? 0 : rare);
    recipe += static_cast<char>(random() % pieces);
  }
  return recipe;
}

struct Strings {
  std::vector<std::string> texts;
  bool is_lost;
};

template <class Reader>
Strings ReadStrings(std::string_view script) {
  // A copy without a byte after it: nothing there is read.
  const std::vector<char> copy(script.begin(), script.end());
  Reader reader({copy.data(), copy.size()});
  Strings strings;
  std::string_view text;
  while (reader.Next(text)) strings.texts.emplace_back(text);
  strings.is_lost = reader.IsLost();
  return strings;
}

Strings ListedStrings(Lexer lexer, std::string script) {
  Strings strings{{}, false};
  const TokenListPointer list(lexer(&OS_SERVICES, &OS_SERVICES, script.data(), 0, 0, 0, 0,
                                    static_cast<std::uint32_t>(script.size()), nullptr, 0));
  for (std::uint32_t i = 0; i < CScriptTokenList::Count(list.get()); ++i) {
    TokenCode code = 0;
    CScriptTokenList::CodeAt(list.get(), i, &code);
    if (TokenClass(code) != TOKEN_STRING) continue;
    std::uint32_t length = 0;
    std::uint32_t position = 0;
    std::string text = "(not there)";
    if (CScriptTokenList::TextAt(list.get(), i, &length, &position) == LEX_OK &&
        CScriptTokenList::HoldsText(list.get(), position, length)) {
      text.resize(length);
      CScriptTokenList::ReadText(list.get(), text.data(), position, length);
    }
    strings.texts.push_back(text);
  }
  return strings;
}

/// Whether the reader could read the script to its end.
template <class Reader>
bool ExpectSameStrings(Lexer lexer, const std::string &script) {
  Strings fast = ReadStrings<Reader>(script);
  Strings listed = ListedStrings(lexer, script);
  if (fast.is_lost) {
    EXPECT_LT(fast.texts.size(), listed.texts.size()) << script;
    listed.texts.resize(std::min(fast.texts.size(), listed.texts.size()));
  }
  EXPECT_EQ(fast.texts, listed.texts) << script;
  return !fast.is_lost;
}

TEST(StringReader, FindsTheStringsOfTheTokenList) {
  std::mt19937 random(20);
  int lost = 0;
  int rounds = 0;
  while (rounds < 20000 && !::testing::Test::HasFailure()) {
    const std::string script = OddScript(RandomRecipe(random, 60));
    lost += ExpectSameStrings<JavaScriptStrings>(LexJavaScript, script) ? 0 : 1;
    lost += ExpectSameStrings<VBScriptStrings>(LexVBScript, script) ? 0 : 1;
    ++rounds;
  }
  EXPECT_GT(lost, 20);
  EXPECT_LT(lost, rounds / 10);
}

TEST(BothPaths, AHostCannotTellThemApart) {
  std::mt19937 random(21);
  for (int round = 0; round < 8000 && !::testing::Test::HasFailure(); ++round) {
    const Setting setting = Setting::From(static_cast<unsigned>(random()));
    const std::string script = OddScript(RandomRecipe(random, 40));
    const Outcome fast = Filter(setting, script, true);
    const Outcome plain = Filter(setting, script, false);
    ASSERT_TRUE(fast == plain) << setting << "\n"
                               << script << "\n"
                               << fast.log << "\n"
                               << plain.log;
  }
}

}  // namespace
}  // namespace velmora::testing
