// What the ad-blocking library is asked, word for word and in order.

#include <gmock/gmock.h>
#include <regex>

#include "filter/filter_page.h"
#include "filter/page_url.h"
#include "support/log_recorder.h"

namespace velmora::testing {
namespace {

using ::testing::ElementsAreArray;

/// The calls, with "~" for the page's "http://www.example.com", and "host" for its host.
std::vector<std::string> ShortCalls(std::vector<std::string> calls) {
  static const std::regex page("http://www\\.example\\.com");
  static const std::regex host("www\\.example\\.com");
  for (std::string &call : calls) {
    call = std::regex_replace(std::regex_replace(call, page, "~"), host, "host");
  }
  return calls;
}

TEST(AdCalls, AskAboutEveryUrlInOrder) {
  const struct {
    std::set<std::int32_t> categories;
    std::string_view page;
    std::vector<std::string> calls;
  } cases[] = {
      // Each URL in turn, after a hit too; then nothing about the size.
      {{304, 305},
       "<applet archive=c code=/ads/b codebase='a' width=468 height=60></applet>",
       {"CheckUrl host [~/dir/a]", "CheckUrl host [~/ads/b]", "CheckUrl host [~/dir/c]"}},
      // An exempt one is the last.
      {{304, 305},
       "<object codebase=b data=allowed width=1 height=1></object>",
       {"CheckUrl host [~/dir/allowed]"}},
      // No hit: the size. Absent attributes are not asked about and count as 0.
      {{304, 305},
       "<img src=a height=60 width='468'><iframe height=1></iframe>",
       {"CheckUrl host [~/dir/a]", "CheckSize host 468x60", "CheckSize host 0x1"}},
      {{304, 305},
       "<img src><embed src=></embed><img src=''>",
       {"CheckSize host 0x0", "CheckSize host 0x0", "CheckUrl host []", "CheckSize host 0x0"}},
      {{303, 304, 305}, "<embed type=application/x-shockwave-flash src=a></embed>", {}},
      // A PARAM only in an OBJECT, and only its movie.
      {{305},
       "<object data=a><param name=movie value=b><param name=x value=c></object>"
       "<applet><param name=movie value=d></applet>",
       {"CheckUrl host [~/dir/a]", "CheckUrl host [~/dir/b]"}},
      // A script's URL at its end tag.
      {{305},
       "<script src=a><img src=b></script><img src=c>",
       {"CheckUrl host [~/dir/a]", "CheckUrl host [~/dir/c]"}},
      // Every link at its end tag, also with all categories off; nested ones name the last.
      {{},
       "<a href=\" x \">1</a><a name=n>2</a><a href=''>3</a><a href=y><a href=/z></a></a>",
       {"CheckLink [~/dir/x] host []", "CheckLink [~/z] host []", "CheckLink [~/z] host []"}},
      {{305}, "<a href=/ads/1>x</a>", {"CheckUrl host [~/ads/1]", "CheckLink [~/ads/1] host []"}},
      // BASE moves the page; a relative one leaves the host.
      {{305},
       "<img src=/a><base href=' http://me@Other.Example:81/sub/x '><img src=/b><img src=c>"
       "<base target=_top><img src=d><base href=/sub/><img src=e><img src=/f>",
       {"CheckUrl host [~/a]", "CheckUrl Other.Example [http://Other.Example/b]",
        "CheckUrl Other.Example [http://me@Other.Example:81/sub/c]",
        "CheckUrl Other.Example [http://me@Other.Example:81/sub/d]",
        "CheckUrl Other.Example [/sub/e]", "CheckUrl Other.Example [http://Other.Example/f]"}},
      {{}, "<base href=http://o/s/><a href=x></a>", {"CheckLink [http://o/s/x] o []"}},
      {{}, "<img src=a width=1><form action=b><iframe src=c></iframe></form>", {}},
  };
  for (const auto &[categories, page, calls] : cases) {
    SCOPED_TRACE(page);
    FilterRun run(categories);
    run.Page({page});
    EXPECT_EQ(ShortCalls(run.library.calls), calls);
  }
}

TEST(AdCalls, AreNotMadeAboutElementsThatTheHostKeepsAll) {
  constexpr std::string_view PAGE =
      "<a href=/ads/1>x</a><form action=/ads/2><img src=/ads/3 width=468 height=60></form><a>";
  FakeAdReview review;
  review.kept = {"A", "FORM"};
  for (const bool is_logged : {false, true}) {
    SCOPED_TRACE(is_logged);
    std::optional<LogRecorder> log;
    if (is_logged) log.emplace();
    FilterRun run({304, 305});
    run.context.review = &review;
    EXPECT_EQ(run.Page({PAGE}), "<a href=/ads/1>x</a><form action=/ads/2></form><a>");
    EXPECT_THAT(run.library.calls,
                ElementsAreArray({"CheckUrl www.example.com [http://www.example.com/ads/3]"}));
  }
  EXPECT_EQ(review.references, 1);
}

TEST(AdCalls, AreNotMadeWhereTheHostDecides) {
  for (const std::int32_t others : {std::int32_t{AD_REVIEW_LIBRARY}, 3, -1}) {
    SCOPED_TRACE(others);
    FakeAdReview review;
    review.decided = {"IMG", "SCRIPT"};
    review.others = others;
    FilterRun run({305});
    run.context.review = &review;
    EXPECT_EQ(run.Page({"<img src='own1'><img src=/ads/2><script src=https://own/></script>"
                        "<script src=own3>x</script><embed src=/ads/4></embed>"}),
              "<img src=/ads/2><script src=https://own/></script>");
    EXPECT_THAT(review.asked,
                ElementsAreArray({"IMG own1 http://www.example.com/dir/own1",
                                  "IMG /ads/2 http://www.example.com/ads/2",
                                  "SCRIPT https://own/ http://www.example.com/dir/https://own/",
                                  "SCRIPT own3 http://www.example.com/dir/own3"}));
    EXPECT_THAT(run.library.calls,
                ElementsAreArray({"CheckUrl www.example.com [http://www.example.com/ads/4]"}));
    ASSERT_EQ(run.context.reports.size(), 3U);
    EXPECT_EQ(run.context.reports[0].detail, "\"own rule\"");
  }
}

TEST(AdCalls, TakeAMissingHostAndUrlAsEmpty) {
  FilterRun run({305});
  run.context.host.reset();
  run.context.url.reset();
  run.Page({"<img src=a><img src=/b>"});
  EXPECT_THAT(run.library.calls, ElementsAreArray({"CheckUrl  [a]", "CheckUrl  [http:///b]"}));
}

TEST(Base, LogsWhereThePageGoes) {
  const LogRecorder log;
  FilterRun run({});
  run.Page({"<base href=\"http://h.example/\" target=t><base target=u><base href=/v/>"});
  EXPECT_EQ(LogRecorder::Text(),
            "BASE: href=\"http://h.example/\" target=t\n"
            "BASE: new domain: h.example\n"
            "BASE: href= target=u\n"
            "BASE: href=/v/ target=\n");
}

TEST(Categories, AreAskedOnceInTheOrderOfTheHandlers) {
  FilterRun run({});
  run.MakeHandler();
  EXPECT_THAT(
      run.context.asked,
      ElementsAreArray({300,           300,          300, 300,          // *, A, AREA, SCRIPT
                        PROPERTY_HOST, PROPERTY_URL,                    //
                        305,           304,          305, 307,          // A, APPLET, BODY
                        304,           305,          303, 305, 307,     // EMBED, FORM, FRAMESET
                        304,           305,          304, 305, 307,     // IFRAME, IMG
                        304,           305,          303, 305, 305}));  // OBJECT, PARAM, SCRIPT
}

TEST(Categories, AreAskedAnewOnlyForAppletsControlsAndScriptTexts) {
  FilterRun run({307});
  const auto handler = run.MakeHandler();
  run.context.asked.clear();
  FeedTight(*handler, {"<html><body onload=x><applet></applet><object></object><applet></applet>"
                       "<img src=a onclick=b><script></script><embed></embed></body></html>"});
  EXPECT_THAT(run.context.asked,
              ElementsAreArray({PROPERTY_CONTENT_TYPE, 306, 307, 301, 302, 301, 308}));
}

TEST(PageUrl, IsWhatRelativeUrlsStandOn) {
  const std::tuple<std::string_view, std::string_view, std::string_view> cases[] = {
      {"http://h/d/p.html", "", ""},
      {"http://h/d/p.html", "x.gif", "http://h/d/x.gif"},
      {"http://h/d/p.html", "../x.gif", "http://h/d/../x.gif"},
      {"http://h/d/p.html", "?q=/", "http://h/d/?q=/"},
      {"http://h", "x", "http://x"},
      {"nothing", "x", "x"},
      {"", "x", "x"},
      {"http://h/d/p.html", "/x", "http://host/x"},
      {"http://h/d/p.html", "//other/x", "http://other/x"},
      {"http://h/d/p.html", "HTTP://other/x", "HTTP://other/x"},
      {"http://h/d/p.html", "MailTo:me", "MailTo:me"},
      {"http://h/d/p.html", "JavaScript:x", "JavaScript:x"},
      {"http://h/d/p.html", "https://other/x", "http://h/d/https://other/x"},
      {"http://h/d/p.html", "ftp:x", "http://h/d/ftp:x"},
      {"http://h/d/p.html", "http", "http://h/d/http"},
      {"http://h/d/p.html", ":", "http://h/d/:"},
  };
  for (const auto &[page_url, url, expected] : cases) {
    PageUrl page("host", page_url);
    page.MakeAbsolute("long/before");
    EXPECT_EQ(page.MakeAbsolute(url), expected) << url;
  }
}

}  // namespace
}  // namespace velmora::testing
