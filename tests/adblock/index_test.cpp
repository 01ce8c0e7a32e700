// The index against the plain path: many rules at once, each URL judged by those that the index
// finds and by all in turn. Verdict and deciding rule have to be the same.
#include <gtest/gtest.h>

#include "support.h"

namespace velmora::adblock::testing {
namespace {

constexpr const char *HOSTS[] = {"a.example",
                                 "b.a.example",
                                 "ads.b.example",
                                 "shop.co.uk",
                                 "www.shop.com",
                                 "advertising.com",
                                 "[::1]",
                                 "10.0.0.1",
                                 "localhost",
                                 "x.advertising.com",
                                 "shop.de",
                                 "ad",
                                 "a.very.long.host.org",
                                 "longertoken.co"};
constexpr const char *WORDS[] = {
    "a",     "ad", "ads",    "banner", "banners", "longertoken", "longertokens", "longer", "b",
    "Track", "js", "advert", "468x60", "%2F",     "\xC3\xA9",    "longertoken_", "x1"};
constexpr const char *JOINTS[] = {"/", ".", "-", "_", "?", "=", "&", "/", ":", "@", "://"};

std::string RandomUrl(Dice &dice) {
  constexpr const char *SCHEMES[] = {"http://", "https://", "HTTP://", "ws://", "http://user@"};
  std::string url = dice.Pick(SCHEMES);
  url += dice.Pick(HOSTS);
  if (dice.OneIn(8)) url += dice.OneIn(2) ? ":80" : ".";
  // Some beyond one and two words of 64 bits, so that tokens lie across their bounds.
  for (std::size_t count = dice.Below(dice.OneIn(4) ? 40 : 8); count > 0; --count) {
    url += dice.Pick(JOINTS);
    url += dice.Pick(WORDS);
  }
  return url;
}

std::string RandomPattern(Dice &dice) {
  constexpr const char *WILD[] = {"*", "^", "", "", "/", ".", "-", "="};
  if (dice.OneIn(12)) {
    constexpr const char *PIECES[] = {"\\/", "ad",          "[0-9]+", "banners?",
                                      "\\.", "longertoken", "(a|b)"};
    std::string expression = "/";
    expression += dice.Row(PIECES, 5);
    return expression + "/";
  }
  constexpr const char *ANCHORS[] = {"", "", "", "|http://", "|"};
  const bool has_host = dice.OneIn(2);
  std::string pattern = has_host ? "||" : dice.Pick(ANCHORS);
  if (has_host) pattern += dice.Pick(HOSTS);
  for (std::size_t count = dice.Below(4); count > 0; --count) {
    pattern += dice.Pick(WILD);
    pattern += dice.Pick(WORDS);
  }
  if (dice.OneIn(3)) pattern += dice.Pick(WILD);
  if (dice.OneIn(8)) pattern += "|";
  return pattern;
}

std::string RandomRule(Dice &dice) {
  constexpr const char *OPTIONS[] = {"third-party",
                                     "~third-party",
                                     "important",
                                     "match-case",
                                     "popup",
                                     "script,image",
                                     "domain=a.example|~b.a.example",
                                     "domain=shop.*",
                                     "domain=~shop.com",
                                     "domain=com",
                                     "to=advertising.com|shop.de",
                                     "denyallow=a.example"};
  std::string rule = dice.OneIn(5) ? "@@" : "";
  rule += RandomPattern(dice);
  char separator = '$';
  for (std::size_t count = dice.Below(3); count > 0; --count) {
    rule += separator;
    rule += dice.Pick(OPTIONS);
    separator = ',';
  }
  return rule;
}

std::uint16_t Types(Dice &dice) {
  constexpr std::uint16_t TYPES[] = {TYPES_ELEMENT, TYPES_ELEMENT, TYPE_POPUP,
                                     TYPE_SCRIPT,   TYPE_IMAGE,    TYPE_DOCUMENT};
  return TYPES[dice.Below(std::size(TYPES))];
}

TEST(Index, AnswersAsAllRulesInTurn) {
  std::size_t decided = 0;
  for (unsigned seed = 1; seed <= 60; ++seed) {
    Dice dice(seed);
    std::string list = "[Adblock]\n";
    for (std::size_t count = 1 + dice.Below(400); count > 0; --count) {
      list += RandomRule(dice);
      list += '\n';
    }
    const auto rules = RulesOf(list);
    std::string page;
    for (int count = 0; count < 400; ++count) {
      // Some questions for the same page, of which much is remembered.
      if (dice.OneIn(4)) page = dice.OneIn(9) ? "" : dice.Pick(HOSTS);
      const std::string url = RandomUrl(dice);
      const Question question{page, url, Types(dice)};
      const Verdict expected = rules->JudgePlainly(question);
      const Verdict verdict = rules->Judge(question);
      // The first time found, the second time remembered.
      for (int time = 0; time < 2; ++time) {
        ASSERT_EQ(rules->JudgeInPage(question).rule, expected.rule) << url << " on " << page;
      }
      decided += verdict.kind != Verdict::Kind::kNone;
      ASSERT_TRUE(verdict.kind == expected.kind && verdict.rule == expected.rule)
          << url << " on " << page << ": " << rules->OriginOf(verdict.rule).text << " | plainly "
          << rules->OriginOf(expected.rule).text;
    }
  }
  EXPECT_GT(decided, 5000U);
}

// URLs are put in lower case and searched for words many bytes at a time; their ends lie at every
// place of a block here.
TEST(Index, FindsWordsAtTheEndsOfUrlsOfEverySize) {
  const auto rules = RulesOf("/zq7ad|\n/www9|\n");
  const std::string_view filler = "aB9-Z_.z0@[`{\xC3\x9C";
  std::string url = "HTTPS://A.Example/";
  for (std::size_t size = 0; size < 200; ++size) {
    url += filler[size % filler.size()];
    for (const char *word : {"/ZQ7ad", "/Www9"}) {
      EXPECT_EQ(NameOf(rules->Judge({"b.example", url + word})), "blocked") << url;
      EXPECT_EQ(NameOf(rules->Judge({"b.example", url + word + "1"})), "none") << url;
    }
  }
}

}  // namespace
}  // namespace velmora::adblock::testing
