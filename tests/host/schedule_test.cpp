// When rules apply, to whom, and what they say of sites.
#include "host/policy/schedule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "host/events/event.h"
#include "host/policy/policy.h"
#include "host/requests/safe_search.h"
#include "support/temporary_directory.h"

namespace velmora::host {
namespace {

Policy PolicyOf(const std::string &text) {
  const testing::TemporaryDirectory folder;
  folder.Write("velmora.toml", text);
  folder.Write("hosts", "0.0.0.0 play.example # a hosts file\n:: fun.example\nplain.example\n");
  return ReadPolicy(folder.Path("velmora.toml"));
}

TEST(Schedule, HoldsWhatItSays) {
  const struct {
    std::string text;
    std::vector<std::string> in;
    std::vector<std::string> out;
  } cases[] = {
      {"Mon-Fri 08:00-16:00",
       {"Mon 08:00", "Fri 15:59", "2026-03-04 12:00"},
       {"Mon 07:59", "Fri 16:00", "Sat 12:00", "2026-03-07 12:00"}},
      {"sat,SUN", {"Sat 00:00", "Sun 23:59"}, {"Fri 23:59", "Mon 00:00"}},
      {"22:00-06:00", {"Mon 22:00", "Tue 05:59", "Mon 00:00"}, {"Mon 21:59", "Mon 06:00"}},
      {"Sun 22:00-06:00", {"Sun 22:00", "Mon 05:59"}, {"Sun 05:00", "Mon 22:00", "Tue 00:00"}},
      {"Sat-Mon 10:00-12:00 13:00-24:00",
       {"Sun 10:00", "Mon 23:59", "Sat 13:00"},
       {"Tue 10:00", "Sun 12:30", "Sun 00:00"}},
  };
  for (const auto &[text, in, out] : cases) {
    Schedule schedule;
    schedule.Add(text);
    for (const std::string &time : in)
      EXPECT_TRUE(schedule.Contains(LocalClock::Parse(time))) << text << time;
    for (const std::string &time : out)
      EXPECT_FALSE(schedule.Contains(LocalClock::Parse(time))) << text << time;
  }
  for (const std::string text : {"", "Mo", "Mon 8-16", "Mon 08:00", "08:00-08:00", "08:60-09:00",
                                 "24:00-06:00", "08:00-25:00", "08:00-16:00 Mon", "Mon-Fri-Sat"}) {
    EXPECT_THROW(Schedule().Add(text), std::invalid_argument) << text;
  }
  for (const std::string text :
       {"", "Mon", "08:00", "Mon 24:00", "2026-02-30 08:00", "Mon  08:00"}) {
    EXPECT_THROW(LocalClock::Parse(text), std::invalid_argument) << text;
  }
}

// Vienna puts its clock forward on 29 March 2026 at 01:00 UTC and back on 25 October.
TEST(LocalClock, FollowsTheZoneThroughItsChanges) {
  const LocalClock vienna("Europe/Vienna");
  const LocalClock adelaide("Australia/Adelaide");
  const struct {
    const LocalClock &clock;
    std::string utc;
    std::string shown;
  } cases[] = {
      {vienna, "2026-03-29T00:59:59.999Z", "Sun 01:59"},
      {vienna, "2026-03-29T01:00:00.000Z", "Sun 03:00"},
      {vienna, "2026-10-25T00:59:59.000Z", "Sun 02:59"},
      {vienna, "2026-10-25T01:00:00.000Z", "Sun 02:00"},
      {vienna, "2026-12-31T23:00:00.000Z", "Fri 00:00"},
      {adelaide, "2026-01-04T13:29:00.000Z", "Sun 23:59"},
      {adelaide, "2026-01-04T13:30:00.000Z", "Mon 00:00"},
  };
  for (const auto &[clock, utc, shown] : cases) {
    EXPECT_EQ(clock.Read(*ParseTime(utc)), LocalClock::Parse(shown)) << utc;
  }
  EXPECT_THROW(LocalClock("Europe/Atlantis"), std::invalid_argument);
}

constexpr char SCHOOL[] = R"(
time.zone = "Europe/Vienna"
[filter]
block = "popups"
[[group]]
name = "pupils"
clients = ["10.1.0.0/16"]
users = ["anna"]
[[group]]
name = "tablets"
[[category]]
name = "Games"
sites = "games.example"
site-lists = "hosts"
[[category]]
name = "chat"
sites = ["chat.example"]
[[rule]]
name = "lessons"
groups = ["pupils"]
when = ["Mon-Fri 08:00-12:00", "Mon 13:00-15:00"]
block = ["ads", "games, chat"]
safe-search = "strict"
[[rule]]
name = "tablets"
groups = ["tablets"]
clients = ["10.9.0.0/16"]
block = "all"
[[rule]]
name = "library"
sites = ["chat.example"]
clients = ["10.1.7.0/24"]
allow = ["chat"]
[allow]
groups = "staff"
[[group]]
name = "staff"
)";

TEST(Policy, AsksWhoAndWhen) {
  const Policy policy = PolicyOf(SCHOOL);
  const struct {
    std::string url;
    Asker who;
    std::string time;
    /// The rules that apply, and the category that the site is blocked by.
    std::string rules;
    std::string category;
  } cases[] = {
      {"http://www.games.example/", {.client = "10.1.2.3"}, "Mon 08:00", "lessons ", "games"},
      {"http://www.games.example/", {.client = "10.1.2.3"}, "Mon 12:00", "", ""},
      {"http://fun.example/", {.user = "anna"}, "Mon 14:59", "lessons ", "games"},
      {"http://fun.example/", {.user = "Anna"}, "Mon 14:59", "", ""},
      {"http://play.example/",
       {.client = "192.0.2.1", .groups = "tablets"},
       "Sun 00:00",
       "tablets ",
       "games"},
      {"http://chat.example/", {.client = "10.9.0.1"}, "Sun 00:00", "tablets ", "chat"},
      {"http://other.example/",
       {.groups = "x, pupils,tablets"},
       "Mon 09:00",
       "lessons tablets ",
       ""},
      {"http://chat.example/", {.client = "10.1.7.1"}, "Mon 09:00", "lessons library ", ""},
      {"http://chat.example/",
       {.client = "10.1.7.1", .groups = "staff"},
       "Mon 09:00",
       "lessons library ",
       ""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.url + " " + c.time);
    Asker who = c.who;
    who.minute = LocalClock::Parse(c.time);
    const Asked asked(c.url, who);
    std::string rules;
    for (const PolicyRule *const rule : policy.RulesFor(asked)) rules += rule->name + " ";
    EXPECT_EQ(rules, c.rules);
    const PolicyAnswer answer = policy.For(asked);
    const SiteCategory *const category = policy.BlockedSite(answer, asked);
    EXPECT_EQ(category == nullptr ? "" : category->name, c.category);
    EXPECT_EQ(answer.is_allowed, c.who.groups == "staff");
    EXPECT_EQ(answer.safe_search == SafeSearch::FULL,
              !answer.is_allowed && rules.find("lessons") != rules.npos);
  }
  EXPECT_TRUE(policy.decides_by_site);
  EXPECT_FALSE(PolicyOf("[[rule]]\nwhen = 'Mon'\nblock = 'ads'").decides_by_site);
}

TEST(SafeSearch, ChangesSearchesAlone) {
  const std::string google = "https://www.google.co.uk/search";
  const struct {
    std::string method;
    std::string url;
    std::string becomes;
    std::string header;
  } cases[] = {
      {"GET", google + "?q=a&hl=de", google + "?q=a&hl=de&safe=active", ""},
      {"GET", google + "?safe=off&q=a#b", google + "?q=a&safe=active#b", ""},
      {"GET", google + "?q=a&safe=active", "", ""},
      {"GET", google + "?x=q", "", ""},
      {"GET", "https://www.google.com/", "", ""},
      {"GET", "https://www.google.example/search?q=a", "", ""},
      {"GET", "https://google.com.evil.example/search?q=a", "", ""},
      {"GET", "http://mail.google.com/search?q=a", "", ""},
      {"GET", "https://www.bing.com/images/search?adlt=off&q=a",
       "https://www.bing.com/images/search?q=a&adlt=strict", ""},
      {"GET", "https://duckduckgo.com/?q=a&kp=-2", "https://duckduckgo.com/?q=a&kp=1", ""},
      {"POST", "https://www.youtube.com/youtubei/v1/search?key=b", "", "YouTube-Restrict: Strict"},
      {"CONNECT", "www.google.de:443", "forcesafesearch.google.com:443", ""},
      {"CONNECT", "www.youtube.com:443", "restrict.youtube.com:443", ""},
      {"CONNECT", "duckduckgo.com:8443", "safe.duckduckgo.com:8443", ""},
      {"CONNECT", "bank.example:443", "", ""},
  };
  for (const auto &c : cases) {
    const auto change = SafeSearchFor(SafeSearch::FULL, c.method, c.url);
    EXPECT_EQ(change ? change->url : "", c.becomes) << c.url;
    std::string header;
    if (change && !change->header.first.empty()) {
      header.append(change->header.first).append(": ").append(change->header.second);
    }
    EXPECT_EQ(header, c.header) << c.url;
    EXPECT_FALSE(SafeSearchFor(SafeSearch::OFF, c.method, c.url));
  }
  EXPECT_EQ(SafeSearchFor(SafeSearch::MODERATE, "CONNECT", "m.youtube.com:443")->url,
            "restrictmoderate.youtube.com:443");
}

}  // namespace
}  // namespace velmora::host
