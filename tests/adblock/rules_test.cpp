// What rules say: list, URL, page, verdict.
#include <gtest/gtest.h>
#include <sstream>

#include "matcher/request_types.h"
#include "support.h"

namespace velmora::adblock::testing {
namespace {

constexpr std::string_view HEADER = "[Adblock Plus 2.0]\n";
constexpr const char *SITE = "www.site.example";

struct Case {
  const char *rules;
  const char *url;
  const char *page;
  const char *verdict;
};

// clang-format off
constexpr Case CASES[] = {
    // A piece of a URL, wherever it stands, in any letter case.
    {"/banner/*", "http://a.example/banner/x.gif", SITE, "blocked"},
    {"/banner/*", "http://a.example/BANNER/x.gif", SITE, "blocked"},
    {"/Banner/*", "http://a.example/banner/x.gif", SITE, "blocked"},
    {"/banner/*", "http://a.example/banners/x.gif", SITE, "none"},
    {"/banner/*/img^", "http://a.example/banner/foo/img", SITE, "blocked"},
    {"/banner/*/img^", "http://a.example/banner/foo/bar/img?param", SITE, "blocked"},
    {"/banner/*/img^", "http://a.example/banner//img/foo", SITE, "blocked"},
    {"/banner/*/img^", "http://a.example/banner/img", SITE, "none"},
    {"/banner/*/img^", "http://a.example/banner/foo/imgraph", SITE, "none"},
    {"/banner/*/img^", "http://a.example/banner/foo/img.gif", SITE, "none"},
    {"*ads*", "http://a.example/xadsx", SITE, "blocked"},
    {"a**b", "http://x.example/a-b", SITE, "blocked"},
    {"%2Fads%3F", "http://a.example/?u=%2fads%3f", SITE, "blocked"},
    {"\xC3\xA4-ds", "http://a.example/\xC3\xA4-ds", SITE, "blocked"},

    // Anchored at the host.
    {"||ads.example^", "http://ads.example/", SITE, "blocked"},
    {"||ads.example^", "https://ads.example", SITE, "blocked"},
    {"||ads.example^", "http://a.b.ads.example:8000/", SITE, "blocked"},
    {"||ads.example^", "http://user:pw@ads.example/", SITE, "blocked"},
    {"||ads.example^", "HTTP://ADS.EXAMPLE/", SITE, "blocked"},
    {"||ads.example^", "http://myads.example/", SITE, "none"},
    {"||ads.example^", "http://ads.example.net/", SITE, "none"},
    {"||ads.example^", "http://x.example/?u=http://ads.example/", SITE, "none"},
    {"||ads.example^", "http://x.example/.ads.example/", SITE, "none"},
    {"||ads.example", "http://ads.example.net/", SITE, "blocked"},
    {"||example.net/ads/", "http://cdn.example.net/ads/1.gif", SITE, "blocked"},
    {"||example.net/ads/", "http://example.net/x/ads/1.gif", SITE, "none"},
    {"||ads.*/img^", "http://x.ads.example/a/img?", SITE, "blocked"},
    {"||[::1]^", "http://[::1]:80/", SITE, "blocked"},
    {"||[::1]^$1p", "http://[::1]:80/", "[::1]:8080", "blocked"},
    {"||[::1]^$3p", "http://[::1]:80/", "[::1]:8080", "none"},
    {"||[::1]x^", "http://[::1]x/", SITE, "blocked"},
    // No "^" stands within a host: at the first byte that no host has, it ends.
    {"||ads.example^", "http://ads.example=b.example/", SITE, "blocked"},
    {"||b.example^", "http://ads.example=b.example/", SITE, "none"},
    {"||b.example^", "http://ads=x@b.example/", SITE, "blocked"},
    {"||ads.example.^", "http://ads.example./", SITE, "blocked"},
    {"||ads.example.|", "http://ads.example.", SITE, "blocked"},
    {"||192.0.2.7^", "http://192.0.2.7/x", SITE, "blocked"},
    {"||xample^", "http://a.example/", SITE, "none"},

    // Anchored at the start and the end.
    {"|http://ads.", "http://ads.example/", SITE, "blocked"},
    {"|http://ads.", "https://ads.example/", SITE, "none"},
    {"|http://ads.", "http://x.example/?http://ads.", SITE, "none"},
    {"swf|", "http://a.example/x.swf", SITE, "blocked"},
    {"swf|", "http://a.example/x.swf?y", SITE, "none"},
    {"|https://a.example/|", "https://a.example/", SITE, "blocked"},
    {"|https://a.example/|", "https://a.example/x", SITE, "none"},
    {"||a.example/*.js^|", "https://a.example/x.js", SITE, "blocked"},
    {"||a.example/*.js^|", "https://a.example/x.js?", SITE, "blocked"},
    {"||a.example/*.js^|", "https://a.example/x.js?y", SITE, "none"},
    {"|*ads", "http://a.example/ads", SITE, "blocked"},

    // Separators.
    {"^example.com^", "http://example.com:8000/foo.bar?a=12&b=%D1", SITE, "blocked"},
    {"^%D1^", "http://example.com:8000/foo.bar?a=12&b=%D1", SITE, "blocked"},
    {"^foo.bar^", "http://example.com:8000/foo.bar?a=12&b=%D1", SITE, "blocked"},
    {"^foo^", "http://example.com/foo-bar_foo.foo%foo", SITE, "none"},
    {"^foo^", "http://example.com/foo\xC3\xA4", SITE, "none"},

    // Regular expressions.
    {"/banner/", "http://a.example/xbannerx", SITE, "blocked"},
    {"/banner\\d+/", "http://a.example/banner123", SITE, "blocked"},
    {"/banner\\d+/", "http://a.example/Banner123", SITE, "blocked"},
    {"/banner\\d+/", "http://a.example/banner", SITE, "none"},
    {"/Banner\\d+/$match-case", "http://a.example/Banner123", SITE, "blocked"},
    {"/Banner\\d+/$match-case", "http://a.example/banner123", SITE, "none"},
    {"/^https?:\\/\\/[a-z]{3}\\.example\\/ad$/", "https://foo.example/ad", SITE, "blocked"},
    {"/^https?:\\/\\/[a-z]{3}\\.example\\/ad$/", "https://foo.example/ads", SITE, "none"},
    {"/^https?:\\/\\/[a-z]{3}\\.example\\/ad$/", "HTTPS://Foo.example/AD", SITE, "blocked"},
    {"/^https?:\\/\\/(35|104)\\.\\d/", "HTTP://35.9/", SITE, "blocked"},
    {"/^https?:\\/\\/(35|104)\\.\\d/", "https://104.0.0.1/", SITE, "blocked"},
    {"/^https?:\\/\\/(35|104)\\.\\d/", "https://www.site.example/", SITE, "none"},
    {"/(foo|bar)\\/ad\\./$script", "https://a.example/bar/ad.js", SITE, "blocked"},
    {"/x\\/ads?\\/y/", "https://a.example/x/ad/y", SITE, "blocked"},
    {"/\\/ads\\/|\\/track\\//", "https://a.example/track/", SITE, "blocked"},

    // Letter case.
    {"/AdFrame.$match-case", "http://a.example/AdFrame.js", SITE, "blocked"},
    {"/AdFrame.$match-case", "http://a.example/adframe.js", SITE, "none"},

    // Parties, by registrable domain.
    {"||a.example^$third-party", "http://a.example/", "b.example", "blocked"},
    {"||a.example^$third-party", "http://cdn.a.example/", "www.a.example", "none"},
    {"||a.example^$~third-party", "http://cdn.a.example/", "www.a.example", "blocked"},
    {"||a.example^$first-party", "http://a.example/", "b.example", "none"},
    {"||a.example^$3p", "http://a.example/", "b.example", "blocked"},
    {"||a.example^$1p", "http://a.example/", "a.example", "blocked"},
    {"||a.example^$~1p", "http://a.example/", "a.example", "none"},
    {"||a.example^$third-party", "http://a.example/", "", "blocked"},
    {"/ad.$3p", "http://a.co.uk/ad.js", "b.co.uk", "blocked"},
    {"/ad.$3p", "http://x.a.co.uk/ad.js", "a.co.uk", "none"},
    {"/ad.$3p", "http://192.0.2.1/ad.js", "192.0.2.2", "blocked"},
    {"/ad.$3p", "http://x.github.io/ad.js", "y.github.io", "blocked"},

    // The page's host.
    {"/ad.$domain=a.example", "http://x.example/ad.js", "a.example", "blocked"},
    {"/ad.$domain=a.example", "http://x.example/ad.js", "www.A.example:8080", "blocked"},
    {"/ad.$domain=a.example", "http://x.example/ad.js", "aa.example", "none"},
    {"/ad.$domain=a.example|b.example", "http://x.example/ad.js", "b.example", "blocked"},
    {"/ad.$domain=~a.example", "http://x.example/ad.js", "a.example", "none"},
    {"/ad.$domain=~a.example", "http://x.example/ad.js", "b.example", "blocked"},
    {"/ad.$domain=a.example|~x.a.example", "http://x.example/ad.js", "y.a.example", "blocked"},
    {"/ad.$domain=a.example|~x.a.example", "http://x.example/ad.js", "z.x.a.example", "none"},
    {"/ad.$domain=shop.*", "http://x.example/ad.js", "www.shop.co.uk", "blocked"},
    {"/ad.$domain=shop.*", "http://x.example/ad.js", "shop.a.co.uk", "none"},
    {"$script,domain=shop.*", "http://x.example/x.js", "shop.com", "blocked"},
    {"$script,from=A.example", "http://x.example/x.js", "a.example", "blocked"},
    {"*$script,domain=a.example", "http://x.example/x.js", "b.example", "none"},

    // The URL's host.
    {"/ad.$to=a.example|~b.a.example", "http://c.a.example/ad.js", SITE, "blocked"},
    {"/ad.$to=a.example|~b.a.example", "http://b.a.example/ad.js", SITE, "none"},
    {"*$3p,denyallow=a.example,domain=www.site.example", "http://x.a.example/", SITE, "none"},
    {"*$3p,denyallow=a.example,domain=www.site.example", "http://b.example/", SITE, "blocked"},

    // Request types: those of a page's elements are asked.
    {"/ad.$script", "http://a.example/ad.js", SITE, "blocked"},
    {"/ad.$stylesheet,image", "http://a.example/ad.js", SITE, "blocked"},
    {"/ad.$stylesheet,xmlhttprequest", "http://a.example/ad.js", SITE, "none"},
    {"/ad.$~script", "http://a.example/ad.js", SITE, "blocked"},
    {"/ad.$~script,~image,~object,~subdocument,~media,~other", "http://a.example/ad.js", SITE, "none"},
    {"/ad.$popup", "http://a.example/ad.js", SITE, "none"},
    {"/ad.$all", "http://a.example/ad.js", SITE, "blocked"},
    {"@@||site.example^$document\n/ad.", "http://a.example/ad.js", "site.example", "blocked"},

    // Which rule decides.
    {"/ad.\n@@||good.example^", "http://good.example/ad.js", SITE, "allowed"},
    {"@@||good.example^\n/ad.", "http://good.example/ad.js", SITE, "allowed"},
    {"@@||good.example^", "http://good.example/x.js", SITE, "allowed"},
    {"/ad.$important\n@@||good.example^", "http://good.example/ad.js", SITE, "blocked"},
    {"/ad.$important\n@@/ad.$important", "http://good.example/ad.js", SITE, "allowed"},
    {"/ad.\n@@/ad.$domain=b.example", "http://a.example/ad.js", SITE, "blocked"},
    {"/ad.$script,3p\n/ad.$third-party,badfilter,script", "http://a.example/ad.js", SITE, "none"},
    // Only the very same rule is taken back.
    {"/ad.$script\n/ad.$3p,badfilter", "http://a.example/ad.js", SITE, "blocked"},
    {"/ad.$script\n/ad.$image,badfilter", "http://a.example/ad.js", SITE, "blocked"},
    {"/ad.$script,redirect=a.js\n/ad.$script,badfilter", "http://a.example/ad.js", SITE, "blocked"},
    {"/ad.$domain=shop.*\n/ad.$domain=shop,badfilter", "http://a.example/ad.js", "shop.com", "blocked"},
    {"/ad.$domain=b.example|a.example\n/ad.$badfilter,from=a.example|b.example", "http://a.example/ad.js", "a.example", "none"},
    {"/ad.$domain=shop\n/ad.$domain=shop.*", "http://a.example/ad.js", "shop.com", "blocked"},
    {"/ad.$~important\n@@/ad.", "http://a.example/ad.js", SITE, "allowed"},
    {"/ad.$~important", "http://a.example/ad.js", SITE, "blocked"},

    // Replaced requests are blocked, changed ones are not.
    {"/ad.$script,redirect=noop.js", "http://a.example/ad.js", SITE, "blocked"},
    {"/ad.$rewrite=abp-resource:blank-js", "http://a.example/ad.js", SITE, "blocked"},
    {"/ad.$removeparam=utm", "http://a.example/ad.js", SITE, "none"},
    {"@@/ad.$redirect\n/ad.", "http://a.example/ad.js", SITE, "blocked"},

    // What is no URL of a host is never judged.
    {"/ad.", "/ad.js", SITE, "none"},
    {"/ad.", "javascript:location='/ad.js'", SITE, "none"},
    {"/ad.", "data:text/html,/ad.js", SITE, "none"},
    {"/ad.", "://a.example/ad.js", SITE, "none"},
    {"/ad.", "http:///ad.js", SITE, "none"},
    {"/ad.", "http://[::1/ad.js", SITE, "none"},
    {"/ad.", "", SITE, "none"},
    {"||a.example^", "http://a.example./", SITE, "none"},
};
// clang-format on

// Alone, a rule is found by its rarest token; among all others by whichever is left. Rules of
// other cases are kept out of the way by pages of their own.
TEST(Rules, SayWhatTheirSyntaxMeansAloneAndAmongOthers) {
  std::string crowd(HEADER);
  for (const std::string_view token :
       {"banner", "ads", "ad", "img", "foo", "bar", "swf", "track"}) {
    for (int number = 0; number < 160; ++number) {
      std::ostringstream lines;
      lines << "/" << token << "/" << number << "/nowhere$domain=nowhere.example\n"
            << "||" << number << "." << token << ".example^$domain=nowhere.example\n";
      crowd += lines.str();
    }
  }
  for (const Case &c : CASES) {
    for (const std::string &others : {std::string(HEADER), crowd}) {
      const auto rules = RulesOf(others + c.rules);
      EXPECT_EQ(NameOf(rules->Judge({c.page, c.url})), c.verdict)
          << c.rules << " | " << c.url << " | " << c.page;
    }
  }
}

TEST(Rules, AreForTheTypesThatTheyName) {
  struct {
    const char *rule;
    const char *types;
  } cases[] = {
      {"/ad.",
       "script image stylesheet font media object subdocument xmlhttprequest websocket ping "
       "other"},
      {"/ad.$xhr,css", "stylesheet xmlhttprequest"},
      {"/ad.$~script,~image,~media,~other,~ping,~websocket,~font",
       "stylesheet object subdocument "
       "xmlhttprequest"},
      {"/ad.$popup", "popup"},
      {"/ad.$document", "document"},
      {"/ad.$mp4", "media"},
      {"/ad.$all",
       "script image stylesheet font media object subdocument xmlhttprequest websocket "
       "ping popup document other"},
      {"/ad.\n@@/ad.$~script,~image", "script image"},
      {"/ad.$method=post", ""},
      {"/ad.$script,elemhide", "script"},
  };
  for (const auto &c : cases) {
    const auto rules = RulesOf(std::string(HEADER) + c.rule);
    std::string types;
    std::uint16_t seen = 0;
    for (const TypeName &entry : TYPE_NAMES) {
      if (seen & entry.type) continue;
      seen |= entry.type;
      const Verdict verdict = rules->Judge({SITE, "http://a.example/ad.js", entry.type});
      if (verdict.kind != Verdict::Kind::kBlocked) continue;
      if (!types.empty()) types += ' ';
      types += entry.name;
    }
    EXPECT_EQ(types, c.types) << c.rule;
  }
  const auto rules = RulesOf("[Adblock]\n/ad.$method=post|put\n/pic.$method=~get\n");
  const auto ask = [&](const char *url, const char *method) {
    return NameOf(rules->Judge({SITE, url, TYPE_XMLHTTPREQUEST, MethodOfName(method)}));
  };
  EXPECT_EQ(ask("http://a.example/ad.js", "POST"), "blocked");
  EXPECT_EQ(ask("http://a.example/ad.js", "GET"), "none");
  EXPECT_EQ(ask("http://a.example/pic.gif", "patch"), "blocked");
  EXPECT_EQ(ask("http://a.example/pic.gif", "GET"), "none");
  EXPECT_EQ(ask("http://a.example/pic.gif", "BREW"), "none");
}

TEST(Rules, OfPopupsAreForLinks) {
  const auto rules = RulesOf("[Adblock]\n/ad.$popup\n/pic.\n/both.$popup,image\n@@/ad.ok$popup\n");
  const auto ask = [&](const char *url, std::uint16_t asked) {
    return NameOf(rules->Judge({SITE, url, asked}));
  };
  EXPECT_EQ(ask("http://a.example/ad.htm", TYPE_POPUP), "blocked");
  EXPECT_EQ(ask("http://a.example/ad.ok", TYPE_POPUP), "allowed");
  EXPECT_EQ(ask("http://a.example/pic.gif", TYPE_POPUP), "none");
  EXPECT_EQ(ask("http://a.example/both.gif", TYPE_POPUP), "blocked");
  EXPECT_EQ(ask("http://a.example/both.gif", TYPES_ELEMENT), "blocked");
}

TEST(Rules, OfTwoListsThatDisagree) {
  const auto blocking = std::string("[Adblock]\n/ad.\n/same.\n||x.example^$important\n");
  const auto allowing = std::string("[Adblock]\n@@/ad.\n/same.\n@@||x.example^\n");
  for (const bool swapped : {false, true}) {
    const auto rules =
        LoadRules(swapped ? Lists({allowing, blocking}) : Lists({blocking, allowing}), "").rules;
    const auto judge = [&](const char *url) { return rules->Judge({SITE, url}); };
    EXPECT_EQ(NameOf(judge("http://a.example/ad.js")), "allowed");
    EXPECT_EQ(NameOf(judge("http://x.example/")), "blocked");
    // The origin names the list and line of the rule that decided; of equal rules the first.
    const RuleOrigin origin = rules->OriginOf(judge("http://a.example/ad.js").rule);
    EXPECT_EQ(origin.text, "@@/ad.");
    EXPECT_EQ(origin.list, swapped ? "list 1" : "list 2");
    EXPECT_EQ(origin.line, 2U);
    EXPECT_EQ(rules->OriginOf(judge("http://a.example/same.js").rule).list, "list 1");
    EXPECT_EQ(rules->Compiled().lists[1].counts.repeated, 1U);
    const auto equal = RulesOf(swapped ? "[Adblock]\n/a/d.\n/a/*\n" : "[Adblock]\n/a/*\n/a/d.\n");
    const Verdict first = equal->Judge({SITE, "http://a.example/a/d.js"});
    EXPECT_EQ(equal->OriginOf(first.rule).text, swapped ? "/a/d." : "/a/*");
  }
}

std::string Repeated(std::string_view piece, std::size_t count) {
  std::string text;
  for (; count > 0; --count) text += piece;
  return text;
}

// A word that stands many times in a URL finds its rules each time; those that do not depend
// on the place are tried once.
TEST(Effort, GrowsWithTheUrlAndNotWithItsSquare) {
  std::ostringstream list;
  list << HEADER;
  for (int number = 0; number < 20; ++number) {
    list << "/word/*x" << number << "\n/word\\/.*y" << number << "/\n"
         << "/word/$domain=nowhere.example|p" << number << ".example\n";
  }
  list << "/word/last\n";
  const auto rules = RulesOf(list.str());
  const auto effort = [&](std::size_t count) {
    return rules->EffortOf({SITE, "http://a.example" + Repeated("/word", count) + "/"});
  };
  EXPECT_GT(effort(2), 20U);
  EXPECT_LT(effort(200), effort(20) + 180 * 100);
  EXPECT_LT(effort(320), 1.7 * 16 * static_cast<double>(effort(20)));
  // What does depend on the place is tried at each.
  EXPECT_EQ(NameOf(rules->Judge({SITE, "http://a.example" + Repeated("/word", 300) + "/last"})),
            "blocked");
}

TEST(Effort, HasALimitAboveWhatRealUrlsNeed) {
  std::ostringstream list;
  list << HEADER << "||first.example^\n";
  for (int number = 0; number < 3000; ++number) list << "/[a-z]{4}x.*y" << number << "z/\n";
  const auto rules = RulesOf(list.str());
  const std::string end = Repeated("/abcdx", 340);
  const std::size_t most = rules->EffortOf({SITE, "http://a.example" + end});
  EXPECT_GE(most, Effort::MOST);
  EXPECT_LT(most, Effort::MOST + 3 * MAX_URL);
  // Hosts come first.
  EXPECT_EQ(NameOf(rules->Judge({SITE, "http://first.example" + end})), "blocked");
}

TEST(Urls, AreLookedAtUpToALimit) {
  const auto rules = RulesOf("[Adblock]\n/ad.\nend|\n");
  const std::string filler(MAX_URL, 'x');
  EXPECT_EQ(NameOf(rules->Judge({SITE, "http://a.example/ad." + filler})), "blocked");
  EXPECT_EQ(NameOf(rules->Judge({SITE, "http://a.example/" + filler + "/ad.js"})), "none");
  // As many tokens as there is room for, and hosts with more labels than any has.
  std::string tokens = "http://a.example/";
  while (tokens.size() < 2 * MAX_URL) tokens += "a/";
  EXPECT_EQ(NameOf(rules->Judge({SITE, tokens})), "none");
  std::string host = "http://";
  while (host.size() < 240) host += "a.";
  EXPECT_EQ(NameOf(rules->Judge({host.substr(7), host + "example/ad.js"})), "blocked");
  // Nobody has a host with a longer name.
  while (host.size() < 1000) host += "a.";
  EXPECT_EQ(NameOf(rules->Judge({host.substr(7), host + "example/ad.js"})), "none");
}

TEST(Urls, AreToldByTheirFirstBytes) {
  struct {
    std::string_view text;
    std::size_t length;
  } cases[] = {
      {"http://a.example/x", 18},
      {"HTTPS://a.example", 17},
      {"//a.example/x' + y", 13},
      {"ws://a.example/", 15},
      {"http://a.example\\/x", 16},
      {"//[::1]/x>", 9},
      {"http://a.ex/`x", 12},
      {"http://a.example/\xC3\xA4 ", 19},
      {"http:/a.example", 0},
      {"http://", 0},
      {"//", 0},
      {"// a comment", 0},
      {"//\"", 0},
      {"/a.example/", 0},
      {"xhttp://a.example/", 0},
      {"httpx://a.example/", 0},
      {"", 0},
      {"h", 0},
  };
  for (const auto &c : cases) EXPECT_EQ(UrlLength(c.text), c.length) << c.text;
}

TEST(Sizes, ComeFromTheTableAndTheLists) {
  const auto standard = RulesOf("||a.example^\n");
  EXPECT_TRUE(standard->IsAdSize(468, 60));
  EXPECT_TRUE(standard->IsAdSize(88, 31));
  EXPECT_TRUE(standard->IsAdSize(980, 120));
  for (const auto &[width, height] :
       {std::pair{60, 468}, {1, 1}, {0, 0}, {468, 0}, {-468, -60}, {65536 + 468, 60}, {468, 61}}) {
    EXPECT_FALSE(standard->IsAdSize(width, height)) << width << "x" << height;
  }
  const auto more = RulesOf("size:17x18\n");
  EXPECT_TRUE(more->IsAdSize(17, 18));
  EXPECT_TRUE(more->IsAdSize(468, 60));
  const auto only = LoadRules(Lists({"size:17x18\n", "size:none\nsize: 19x20\n"}), "").rules;
  EXPECT_FALSE(only->IsAdSize(17, 18));
  EXPECT_FALSE(only->IsAdSize(468, 60));
  EXPECT_TRUE(only->IsAdSize(19, 20));
  EXPECT_FALSE(RulesOf("size:none\n")->IsAdSize(468, 60));
}

}  // namespace
}  // namespace velmora::adblock::testing
