// The index and the matcher against an independent reading of the same rules: each pattern is
// turned into a regular expression, which then says of random URLs what the rule must say.
#include <gtest/gtest.h>
#include <re2/re2.h>

#include "support.h"

namespace velmora::adblock::testing {
namespace {

std::string RandomUrl(Dice &dice) {
  constexpr const char *HOSTS[] = {"a.example", "b.a.example", "ad.b.example", "ab.example"};
  constexpr const char *PIECES[] = {"a", "b", "ad", "longertoken", "/", ".",
                                    "-", "?", "=",  "%",           "A"};
  return "http://" + dice.Pick(HOSTS) + "/" + dice.Row(PIECES, 8);
}

/// The rule as its syntax is explained, one construct after the other.
std::string AsExpression(std::string_view rule) {
  std::string expression;
  if (rule.starts_with("||")) {
    expression = "^[a-z]+://(?:[^/]*\\.)?";
    rule.remove_prefix(2);
  } else if (rule.starts_with("|")) {
    expression = "^";
    rule.remove_prefix(1);
  }
  const bool to_end = rule.ends_with("|");
  if (to_end) rule.remove_suffix(1);
  for (const char byte : rule) {
    if (byte == '*') {
      expression += ".*";
    } else if (byte == '^') {
      expression += "(?:[^\\w.%\\x{80}-\\x{FF}-]|$)";
    } else {
      expression += re2::RE2::QuoteMeta(std::string(1, byte));
    }
  }
  return to_end ? expression + "$" : expression;
}

void CompareOnUrls(const std::string &rule, const std::string &expression, Dice &dice) {
  re2::RE2::Options options(re2::RE2::Latin1);
  options.set_case_sensitive(false);
  options.set_log_errors(false);
  const re2::RE2 expected(expression, options);
  if (!expected.ok()) return;
  const auto rules = RulesOf("[Adblock]\n" + rule + "\n");
  if (rules->Compiled().rules.Count() == 0) return;
  for (int count = 0; count < 40; ++count) {
    const std::string url = RandomUrl(dice);
    EXPECT_EQ(NameOf(rules->Judge({"page.example", url})),
              re2::RE2::PartialMatch(url, expected) ? "blocked" : "none")
        << rule << " | " << url;
  }
}

TEST(Patterns, MatchAsTheirExpressionsDo) {
  Dice dice(20240607);
  constexpr const char *ANCHORS[] = {"", "", "||", "|", "||a.example/", "|http://", "||ad."};
  constexpr const char *PIECES[] = {
      "a", "b", "ad", "longertoken", "longertokens", "/",       ".",  "-", "?", "^",
      "*", "=", "%",  "A",           "b.a",          "example", "^*", "d"};
  for (int count = 0; count < 3000; ++count) {
    std::string rule = ANCHORS[dice.Below(std::size(ANCHORS))] + dice.Row(PIECES, 5);
    if (dice.Below(5) == 0) rule += "|";
    if (rule.starts_with("/") && rule.ends_with("/")) continue;
    CompareOnUrls(rule, AsExpression(rule), dice);
  }
}

TEST(Expressions, AreFoundByTokensThatTheyNeed) {
  Dice dice(20240607);
  constexpr const char *PIECES[] = {
      "a",    "b",       "ad",           "longertoken", "\\/",          "\\.", "\\-",
      "[ab]", "[^\\]/]", "[^]/]",        "(ad|b)",      "(?:\\/a\\/)?", "?",   "*",
      "+",    "{2}",     "{0,2}",        "|",           "\\d",          "\\w", ".",
      "^",    "$",       "[[:alpha:]/]", "\\x2F",       "\\Qa/\\E",     "\\b", "="};
  int compared = 0;
  for (int count = 0; count < 6000; ++count) {
    const std::string expression = dice.Row(PIECES, 7);
    if (expression.find('$') != std::string::npos && !expression.ends_with("$")) continue;
    CompareOnUrls("/" + expression + "/", expression, dice);
    ++compared;
  }
  EXPECT_GT(compared, 3000);
}

TEST(Patterns, WithManyStarsTakeNoTimeToSpeakOf) {
  std::string rule = "[Adblock]\n|http";
  for (int count = 0; count < 2000; ++count) rule += "*a";
  const auto rules = RulesOf(rule + "*b\n");
  EXPECT_EQ(NameOf(rules->Judge({"page.example", "http://a.example/" + std::string(8000, 'a')})),
            "none");
}

}  // namespace
}  // namespace velmora::adblock::testing
