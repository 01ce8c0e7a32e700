// Lists as they are read: what each line is taken for, and that no line does any harm.
#include <gtest/gtest.h>
#include <random>

#include "matcher/sources.h"
#include "support.h"

namespace velmora::adblock::testing {
namespace {

std::string KindOf(const ParsedLine &parsed) {
  switch (parsed.kind) {
    case LineKind::kBlank:
      return "blank";
    case LineKind::kComment:
      return "comment";
    case LineKind::kSize:
      return "size";
    case LineKind::kNoSizes:
      return "no sizes";
    case LineKind::kSkipped:
      return SKIP_NAMES[static_cast<std::size_t>(parsed.skip)];
    case LineKind::kRules:
      return parsed.rules.size() == 1 ? "rule" : std::to_string(parsed.rules.size()) + " rules";
  }
  return "?";
}

TEST(Lists, EveryLineIsTakenForSomething) {
  struct {
    std::string line;
    const char *kind;
  } cases[] = {
      {"", "blank"},
      {" \t\r", "blank"},
      {"! comment", "comment"},
      {"# comment", "comment"},
      {"[Adblock Plus 2.0]", "comment"},
      {"||a.example^", "rule"},
      {"  ||a.example^  \r", "rule"},
      {"@@||a.example^$script", "rule"},
      {"##.ad", "element hiding"},
      {"a.example,~b.example##.ad", "element hiding"},
      {"a.example#@#.ad", "element hiding"},
      {"a.example#?#.ad:has(x)", "element hiding"},
      {"a.example#$#abort-on-property-read x", "element hiding"},
      {"a.example##^script:has-text(x)", "element hiding"},
      {"a.example##+js(set, x, 1)", "scriptlet"},
      {"a.example#@#+js(set)", "scriptlet"},
      {"||a.example/##x", "rule"},
      {"/ad.$document", "rule"},
      {"@@||a.example^$generichide", "not about requests"},
      {"/ad.$csp=script-src 'none'", "unsupported option"},
      {"/ad.$unheard-of", "unsupported option"},
      {"/ad.$domain=", "unsupported option"},
      {"/ad.$domain=/a|b/", "unsupported option"},
      {"/ad.$replace=/a,b/c/", "unsupported option"},
      {"/ad.$script,=x", "unreadable"},
      // A dollar sign within a URL or an expression.
      {"/ad.$x/y", "rule"},
      {"/ad$/", "rule"},
      {"/ad$|x$/$script", "rule"},
      {"/ad.$", "rule"},
      {"/a(?=b)/", "expression"},
      {"/(a)\\1/", "expression"},
      {"/(/", "expression"},
      {"/a{1001}/", "expression"},
      {"*", "too general"},
      {"||", "too general"},
      {"|", "too general"},
      {"^", "too general"},
      {"||*^|$script", "too general"},
      {"$script", "too general"},
      {"*$ping,3p", "rule"},
      {"@@*", "too general"},
      {"*$script,domain=a.example", "rule"},
      {"two words", "unreadable"},
      {std::string("a\0b", 3), "unreadable"},
      {"a\x01", "unreadable"},
      {std::string(40000, 'a'), "unreadable"},
      {"127.0.0.1 ads.example.com", "rule"},
      {"0.0.0.0\tads.example.com track.example.com # both", "2 rules"},
      {"::1 ads.example.com", "rule"},
      {"127.0.0.1 localhost", "unreadable"},
      {"127.0.0.1 localhost.localdomain", "unreadable"},
      {"0.0.0.0 0.0.0.0", "unreadable"},
      {"0.0.0.0 tracker.lan", "rule"},
      {"0.0.0.0", "rule"},
      {"size:468x60", "size"},
      {"size: 468x60", "size"},
      {"size:none", "no sizes"},
      {"size:468", "unreadable"},
      {"size:0x60", "unreadable"},
      {"size:468x60x1", "unreadable"},
      {"size:70000x60", "unreadable"},
  };
  for (const auto &c : cases) {
    StringArena arena;
    EXPECT_EQ(KindOf(LineParser(arena).Parse(c.line)), c.kind) << c.line.substr(0, 80);
  }
}

TEST(Lists, HostsAndBareNamesBlockWholeHosts) {
  const auto rules = RulesOf(
      "0.0.0.0 Ads.Example.com b.example.com ads.example\nbare.example.com\n1.2.3.4\n"
      "tracker.lan\nimg.example.com$image\nads.js\n"
      "0.0.0.0 M\xC3\xBCnchen.example\n||werbung.b\xC3\xBCro.example/x^\n");
  const auto judge = [&](const char *url) { return NameOf(rules->Judge({"p.com", url})); };
  EXPECT_EQ(judge("http://ads.example.com/x"), "blocked");
  EXPECT_EQ(judge("http://x.b.example.com/"), "blocked");
  EXPECT_EQ(judge("http://a.com/?bare.example.com"), "none");
  EXPECT_EQ(judge("http://bare.example.com:80/"), "blocked");
  EXPECT_EQ(judge("http://11.2.3.45/"), "none");
  // Without a suffix that anybody knows, too; but a name of a file is none of a host.
  EXPECT_EQ(judge("http://x.ads.example/"), "blocked");
  EXPECT_EQ(judge("http://tracker.lan/"), "blocked");
  EXPECT_EQ(judge("http://a.com/?tracker.lan"), "none");
  EXPECT_EQ(judge("http://a.com/img.example.com"), "none");
  EXPECT_EQ(judge("http://a.com/myads.js"), "blocked");
  // Requests spell letters beyond ASCII otherwise, pages may spell them either way.
  EXPECT_EQ(judge("http://xn--mnchen-3ya.example/"), "blocked");
  EXPECT_EQ(judge("http://M\xC3\xBCnchen.example/"), "blocked");
  EXPECT_EQ(judge("http://werbung.xn--bro-hoa.example/x"), "blocked");
  EXPECT_EQ(judge("http://werbung.b\xC3\xBCro.example/y"), "none");
  const auto on_page = RulesOf("/ad.$domain=m\xC3\xBCnchen.example\n");
  for (const char *page : {"m\xC3\xBCnchen.example", "www.xn--mnchen-3ya.example"}) {
    EXPECT_EQ(NameOf(on_page->Judge({page, "http://a.com/ad.js"})), "blocked") << page;
  }
  // In a list with a header a name is a piece of a URL, unless it is known to be a host's.
  const auto headed = RulesOf("[Adblock Plus 2.0]\nbare.example.com\nads.piece\n");
  EXPECT_EQ(NameOf(headed->Judge({"p.com", "http://a.com/?bare.example.com"})), "none");
  EXPECT_EQ(NameOf(headed->Judge({"p.com", "http://bare.example.com/"})), "blocked");
  EXPECT_EQ(NameOf(headed->Judge({"p.com", "http://a.com/ads.piece"})), "blocked");
}

TEST(Lists, LinesForOtherProgramsAreLeftOut) {
  const auto rules = RulesOf(
      "!#if env_x\n/in1.\n!#if !y\n/in2.\n!#endif\n!#else\n/in3.\n!#endif\n"
      "!#if !env_x\n/in4.\n!#else\n/in5.\n!#endif\n!#if !a && b\n/in6.\n!#endif\n!#endif\n/in7.\n");
  std::string in_force;
  for (std::uint32_t at = 0; at < rules->Compiled().rules.Count(); ++at) {
    in_force += rules->OriginOf(at).text;
  }
  EXPECT_EQ(in_force, "/in3./in4./in7.");
}

TEST(Lists, CountsAddUp) {
  const auto rules = RulesOf(
      "\xEF\xBB\xBF[Adblock]\r\n! c\r\n\r\n||a.example^\r\n||a.example^\r\n/x.$badfilter\r\n/x.\r\n"
      "##.ad\r\n/(/\r\nsize:1x2\r\nlast.line");
  const ListCounts counts = rules->Compiled().lists[0].counts;
  EXPECT_EQ(counts.lines, 11U);
  EXPECT_EQ(counts.comments, 2U);
  EXPECT_EQ(counts.rules, 2U);
  EXPECT_EQ(counts.repeated, 1U);
  EXPECT_EQ(counts.cancelled, 1U);
  EXPECT_EQ(counts.sizes, 1U);
  EXPECT_EQ(counts.skipped[static_cast<std::size_t>(Skip::kElementHiding)], 1U);
  EXPECT_EQ(counts.skipped[static_cast<std::size_t>(Skip::kExpression)], 1U);
  EXPECT_EQ(rules->OriginOf(1).text, "last.line");
  EXPECT_EQ(rules->OriginOf(1).line, 11U);
}

TEST(Lists, BytesWithoutMeaningDoNoHarm) {
  std::mt19937 random(7);
  constexpr std::string_view PIECES[] = {"||",       "@@",          "$",     "domain=", "|",
                                         "^",        "*",           "/",     "##",      "~",
                                         ",",        "\n",          "a",     "é",       "\\",
                                         "(",        "[",           "size:", ".*",      "!#if",
                                         "0.0.0.0 ", "third-party", "\r",    "=",       "com"};
  for (int count = 0; count < 300; ++count) {
    std::string list = count % 2 ? "[Adblock]\n" : "";
    while (list.size() < 2000) {
      if (random() % 4 == 0) {
        list += static_cast<char>(random());
      } else {
        list += PIECES[random() % std::size(PIECES)];
      }
    }
    const auto rules = RulesOf(list);
    rules->Judge({"www.a.com", "http://a.com/domain=third-party/a?~,(["});
    rules->Judge({list.substr(0, 300), "http://" + list});
  }
}

// A file that belongs to something else must not turn every URL into an advertisement.
TEST(Lists, ProseBlocksNothing) {
  const auto rules = RulesOf(
      "This is a file about lists.\nNothing in it is a rule, or is it?\n\n* * *\n  - one\n  - two\n"
      "int main(int argc, char **argv) { return 0; }\n");
  EXPECT_EQ(NameOf(rules->Judge({"p.com", "http://a.com/one-two?x=int main"})), "none");
}

TEST(Lists, TheBuiltInOneIsAllInForce) {
  const auto rules = RulesOf(std::string(BUILT_IN_LIST));
  const ListCounts counts = rules->Compiled().lists[0].counts;
  EXPECT_EQ(counts.rules + counts.comments, counts.lines);
  EXPECT_EQ(NameOf(rules->Judge({"p.com", "http://ad.doubleclick.net/x"})), "blocked");
}

TEST(Lists, InstalledOnesAreReadAlmostWhole) {
  const Sources sources = ReadSources({});
  if (sources.lists.front().name == BUILT_IN_LIST_NAME) {
    GTEST_SKIP() << "no lists are installed (Debian: webext-ublock-origin-firefox)";
  }
  const auto rules = LoadRules(sources.lists, "").rules;
  std::uint32_t lines = 0;
  std::uint32_t unreadable = 0;
  for (std::uint32_t at = 0; at < rules->Compiled().lists.Count(); ++at) {
    const ListCounts counts = rules->Compiled().lists[at].counts;
    lines += counts.lines;
    unreadable += counts.skipped[static_cast<std::size_t>(Skip::kUnreadable)];
  }
  EXPECT_GT(lines, 50000U);
  EXPECT_LT(unreadable, 20U);
  // Rules that every question tries cost every question.
  EXPECT_LT(rules->Compiled().unkeyed.Count(), 40U);
}

}  // namespace
}  // namespace velmora::adblock::testing
