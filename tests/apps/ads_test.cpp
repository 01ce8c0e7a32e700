// velmora ads, and the ad-blocking lists of velmora filter.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "apps/shell.h"

namespace velmora::command {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char LIST[] =
    "[Adblock]\n||ads.example^$third-party\n@@||ads.example/good^\n/pop.$popup\nsize:17x18\n"
    "/a(?=b)/\n";

TEST(Ads, JudgesUrlsAndNamesTheRule) {
  const Shell shell;
  shell.Write("list.txt", LIST);
  const Result result = shell.Run(
      "export XDG_CACHE_HOME=$PWD/.cache; $velmora ads --ad-lists list.txt --page "
      "http://www.site.example/x http://x.ads.example/1 https://ads.example/good "
      "http://b.example/");
  EXPECT_EQ(result.output,
            "blocked  http://x.ads.example/1\n"
            "         by ||ads.example^$third-party\n         list.txt:2\n"
            "allowed  https://ads.example/good\n"
            "         by @@||ads.example/good^\n         list.txt:3\n"
            "no ad    http://b.example/\n");
  EXPECT_EQ(result.exit_code, 0);
  const std::pair<std::string, const char *> cases[] = {
      {"--page ads.example http://ads.example/", "no ad "},
      {"--link http://b.example/pop.htm", "blocked "},
      {"http://b.example/pop.htm", "no ad "},
  };
  for (const auto &[options, verdict] : cases) {
    EXPECT_THAT(shell.Run("$velmora ads --ad-lists list.txt " + options).output, HasSubstr(verdict))
        << options;
  }
}

TEST(Ads, JudgesRequestsByTheirTypes) {
  // A type, a page and a URL, and what is said of them.
  const struct {
    std::string type, page, url, verdict, rule;
  } cases[] = {
      {"script", "www.site.example", "https://ads.example/1", "blocked", "||ads.example^$3p"},
      {"script", "http://www.site.example/x", "https://ads.example/1", "blocked",
       "||ads.example^$3p"},
      {"script", "", "https://ads.example/1", "blocked", "||ads.example^$3p"},
      {"script", "https://www.ads.example/", "https://ads.example/1", "none", ""},
      {"document", "", "https://ads.example/", "none", ""},
      {"popup", "www.site.example", "https://ads.example/", "none", ""},
      {"popup", "www.site.example", "https://b.example/pop.", "blocked", "/pop.$popup"},
      {"image", "www.site.example", "https://b.example/pop.", "none", ""},
      {"document", "", "https://trap.example/", "blocked", "||trap.example^$document"},
      {"xhr", "a.example", "https://b.example/collect", "blocked", "/collect$xhr,~ping"},
      {"xmlhttprequest", "a.example", "https://b.example/collect", "blocked", "/collect$xhr,~ping"},
      {"ping", "a.example", "https://b.example/collect", "none", ""},
      {"font", "a.example", "https://c.example/f.js", "blocked", "*$font,denyallow=cdn.example"},
      {"font", "a.example", "https://x.cdn.example/f.js", "none", ""},
      {"script", "a.example", "https://t.example/w.js", "blocked", "/w.js$to=t.example"},
      {"script", "a.example", "https://u.example/w.js", "none", ""},
      {"image", "a.example", "https://m.example/", "none", ""},
      {"media", "a.example", "https://good.example/i", "blocked", "||good.example^$important"},
      {"image", "a.example", "https://good.example/", "blocked", "||good.example^$important"},
      {"subdocument", "a.example", "https://e.example/", "allowed", "@@||e.example^$frame"},
  };
  const Shell shell;
  shell.Write("list.txt",
              "[Adblock]\n||ads.example^$3p\n/pop.$popup\n||trap.example^$document\n"
              "/collect$xhr,~ping\n*$font,denyallow=cdn.example\n/w.js$to=t.example\n"
              "||m.example^$method=post\n@@||good.example^\n||good.example^$important\n"
              "@@||e.example^$frame\n");
  std::string lines;
  std::string answers;
  for (const auto &row : cases) {
    lines += row.type + '\t' + row.page + '\t' + row.url + '\n';
    answers += row.verdict + '\t' + row.rule + '\n';
  }
  shell.Write("requests", lines);
  const std::string ads = "export XDG_CACHE_HOME=$PWD/.cache; $velmora ads --ad-lists list.txt ";
  const Result result = shell.Run(ads + "--batch < requests");
  EXPECT_EQ(result.output, answers);
  EXPECT_EQ(result.exit_code, 0);
  // A line that is no question keeps its place among the answers.
  shell.Write("requests", "script\ta.example\nno-type\t\thttps://ads.example/\n" + lines);
  const Result broken = shell.Run(ads + "--batch < requests 2>&1 >answers; cat answers");
  EXPECT_THAT(broken.output, AllOf(HasSubstr("line 1: "), HasSubstr("line 2: "),
                                   HasSubstr("none\t\nnone\t\n" + answers)));

  EXPECT_THAT(shell.Run(ads + "--type popup --page a.example https://b.example/pop.").output,
              HasSubstr("blocked "));
  EXPECT_THAT(shell.Run(ads + "--type image --page a.example https://b.example/pop.").output,
              HasSubstr("no ad "));
  const Result unknown = shell.Run(ads + "--type picture https://b.example/ 2>&1");
  EXPECT_NE(unknown.exit_code, 0);
  EXPECT_THAT(unknown.output, AllOf(HasSubstr("picture"), HasSubstr("xmlhttprequest")));
}

TEST(Ads, ShowsWhatListsHold) {
  const Shell shell;
  shell.Write("list.txt", LIST);
  const Result stats = shell.Run("$velmora ads --ad-lists list.txt --stats");
  EXPECT_THAT(stats.output, AllOf(HasSubstr("3  rules in force"), HasSubstr("skipped: expression"),
                                  HasSubstr(" 17x18")));
  const Result check = shell.Run("$velmora ads --check list.txt");
  EXPECT_EQ(check.exit_code, 1);
  EXPECT_EQ(
      check.output,
      "list.txt:2: ||ads.example^$third-party\n"
      "    blocks what pages load, third party: host ads.example^\n"
      "list.txt:3: @@||ads.example/good^\n    allows what pages load: host ads.example/good^\n"
      "list.txt:4: /pop.$popup\n    blocks popup: address /pop.\n"
      "list.txt:5: size:17x18\n    size 17x18\n"
      "list.txt:6: /a(?=b)/\n    skipped: expression: a(?=b)\n");
}

TEST(Ads, SaysWhatIsWrong) {
  const Shell shell;
  shell.Write("list.txt", LIST);
  const std::tuple<std::string, int, const char *> cases[] = {
      {"", 2, "a URL, --batch, --stats or --check"},
      {"--ad-lists list.txt banner.gif", 2, "not an absolute URL"},
      {"--ad-lists none.txt http://a.example/", 1, "none.txt: No such file"},
      {"--check none.txt", 1, "none.txt: No such file"},
      {"--ad-lists none.txt --ad-lists list.txt http://a.example/", 0, "none.txt: No such file"},
  };
  for (const auto &[options, exit_code, message] : cases) {
    const Result result = shell.Run("$velmora ads " + options);
    EXPECT_EQ(result.exit_code, exit_code) << options;
    EXPECT_THAT(result.errors, HasSubstr(message)) << options;
  }
}

TEST(Ads, AreFilteredByTheListsThatAreNamed) {
  const Shell shell;
  shell.Write("list.txt", LIST);
  shell.Write("page.html",
              "<img src=http://ads.example/1.gif><img src='https://ads.example/2.gif'>"
              "<script>document.write('<img src=\"//ads.example/3.gif\">')</script>"
              "<img src=http://ads.example/good><img width=17 height=18 src=x.gif>");
  const std::string filter =
      "export XDG_CACHE_HOME=$PWD/.cache; $velmora filter --url http://www.site.example/dir/x "
      "--block ads page.html ";
  const Result blocked = shell.Run(filter + "--ad-lists list.txt");
  EXPECT_THAT(blocked.output,
              AllOf(Not(HasSubstr("1.gif")), Not(HasSubstr("2.gif")), Not(HasSubstr("3.gif")),
                    HasSubstr("good"), Not(HasSubstr("x.gif"))));
  EXPECT_THAT(blocked.errors, HasSubstr("||ads.example^$third-party"));
  // The command line stands above the environment.
  EXPECT_EQ(shell.Run("export VEXLAR_LISTS=none.txt; " + filter + "--ad-lists list.txt").output,
            blocked.output);
  EXPECT_EQ(shell.Run(filter + "--no-ads").output, shell.Read("page.html"));
  EXPECT_EQ(shell.Run(filter + "--ad-lists none.txt").exit_code, 1);
  EXPECT_EQ(shell.Run(filter + "--no-ads --ad-lists list.txt").exit_code, 2);
}

}  // namespace
}  // namespace velmora::command
