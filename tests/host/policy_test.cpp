#include "host/policy/policy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/policy/exceptions.h"
#include "host/policy/fetched_lists.h"
#include "support/temporary_directory.h"

namespace velmora::host {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::ThrowsMessage;
using ::testing::UnorderedElementsAre;

/// A policy file in a folder of its own.
struct PolicyText {
  explicit PolicyText(const std::string &text) { folder.Write("velmora.toml", text); }
  std::filesystem::path File() const { return folder.path() + "/velmora.toml"; }

  testing::TemporaryDirectory folder;
};

TEST(HostSet, HoldsNamesWithTheirSubDomains) {
  HostSet set;
  for (const auto *name : {"example.com", "WWW.Example.ORG.", "localhost", "192.0.2.1", "[::1]"}) {
    set.Add(name);
  }
  for (const auto *name : {"example.com", "EXAMPLE.com.", "a.b.example.com", "x.www.example.org",
                           "localhost", "192.0.2.1", "[::1]", "..example.com"}) {
    EXPECT_TRUE(set.Contains(HostName(name))) << name;
  }
  for (const auto *name :
       {"notexample.com", "com", "example.com.evil.net", "example.org", "9.192.0.2.1", "", "."}) {
    EXPECT_FALSE(set.Contains(HostName(name))) << name;
  }
  EXPECT_THAT(set.Names(),
              ElementsAre("192.0.2.1", "[::1]", "example.com", "localhost", "www.example.org"));
  for (const auto *name : {"", ".", "*.example.com", ".example.com", "http://example.com",
                           "example.com:80", "a/b", "b\u00FCcher.example", "a b", "a..b"}) {
    EXPECT_THROW(set.Add(name), std::invalid_argument) << name;
  }
}

TEST(ClientNetwork, HoldsTheAddressesBehindItsPrefix) {
  const std::tuple<std::string_view, std::string_view, bool> cases[] = {
      {"10.1.0.0/16", "10.1.255.255", true},       {"10.1.0.0/16", "10.2.0.0", false},
      {"10.1.0.0/16", "::ffff:10.1.2.3", true},    {"192.0.2.128/25", "192.0.2.128", true},
      {"192.0.2.128/25", "192.0.2.127", false},    {"192.0.2.7", "192.0.2.7", true},
      {"192.0.2.7", "192.0.2.8", false},           {"0.0.0.0/0", "203.0.113.9", true},
      {"0.0.0.0/0", "2001:db8::1", false},         {"::/0", "2001:db8::1", true},
      {"2001:db8::/33", "2001:db8:7fff::1", true}, {"2001:db8::/33", "2001:db8:8000::1", false},
      {"fe80::/10", "fe80::1%eth0", true},
  };
  for (const auto &[network, client, is_held] : cases) {
    const auto address = ClientAddress::Parse(client);
    ASSERT_TRUE(address) << client;
    EXPECT_EQ(ClientNetwork::Parse(network).Contains(*address), is_held)
        << network << " " << client;
  }
  for (const auto *text :
       {"", "10.1", "10.1.0.0/33", "10.1.0.0/", "10.1.0.0/-1", "10.1.0.0/16x", "::/129",
        "fe80::1%eth0", "example.com", "10.1.2.3/16", "2001:db8::1/32"}) {
    EXPECT_THROW(ClientNetwork::Parse(text), std::invalid_argument) << text;
  }
  for (const auto *text :
       {"", "10.1.2", "300.1.1.1", "a-host", "1:2:3:4:5:6:7:8:9:0:a:b:c:d:e:f:g"}) {
    EXPECT_FALSE(ClientAddress::Parse(text)) << text;
  }
}

constexpr char SCHOOL[] = R"(
[filter]
block = ["ads", "popups", 400]
allow = "javascript-ad-sizes,vbscript-ad-sizes,vbscript-ad-urls"
settings = { DataHandlers = "HTML;JS;GIF", DumpHTMLElements = true }
option-block = "00000000 00000800"

[[rule]]
name = "Pupils"
clients = ["10.1.0.0/16", "2001:db8:1::/48"]
block = ["applets", "activex", "flash"]
settings.DataHandlers = "HTML"

[[rule]]
sites = "geometry.example"
allow = ["applets"]
option-block = ""

[[rule]]
name = "Exams"
site-lists = ["exams.txt"]
clients = ["10.1.9.0/24"]
only = "scripts"

[allow]
sites = ["bank.example"]
clients = ["10.9.9.9"]
)";

TEST(Policy, AppliesRulesOnTopOfOneAnother) {
  const PolicyText text(SCHOOL);
  text.folder.Write("exams.txt", "# where exams are written\nexam.example # on Mondays\r\n\n");
  const Policy policy = ReadPolicy(text.File());
  const std::string ads =
      "javascript-ad-urls, ad-sizes, ad-urls, popups, gif-animation, requests, ad-elements";
  const std::string pupils =
      "javascript-ad-urls, applets, activex, flash, ad-sizes, ad-urls, popups, gif-animation, "
      "requests, ad-elements";
  const std::string pupils_geometry =
      "javascript-ad-urls, activex, flash, ad-sizes, ad-urls, popups, gif-animation, requests, "
      "ad-elements";
  struct {
    std::string url;
    std::string client;
    std::string categories;
    std::string handlers;
    std::size_t option_bytes;
  } const cases[] = {
      {"http://www.example/", "", ads, "HTML;JS;GIF", 8},
      {"http://www.example/", "10.2.0.1", ads, "HTML;JS;GIF", 8},
      {"http://www.example/", "no address", ads, "HTML;JS;GIF", 8},
      {"", "10.2.0.1", ads, "HTML;JS;GIF", 8},
      {"http://www.example/", "10.1.0.1", pupils, "HTML", 8},
      {"https://www.example/", "2001:db8:1::5", pupils, "HTML", 8},
      {"http://www.geometry.example:81/x", "10.1.0.1", pupils_geometry, "HTML", 0},
      {"http://geometry.example", "10.2.0.1", ads, "HTML;JS;GIF", 0},
      {"http://exam.example/", "10.1.9.1", "scripts", "HTML", 8},
      {"http://exam.example/", "10.1.8.1", pupils, "HTML", 8},
      {"http://exam.example/", "", ads, "HTML;JS;GIF", 8},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.url + " " + c.client);
    const PolicyAnswer answer = policy.For(c.url, c.client);
    EXPECT_TRUE(answer.IsFiltered());
    EXPECT_EQ(answer.categories.Text(), c.categories);
    EXPECT_THAT(answer.settings, UnorderedElementsAre(Pair("DataHandlers", c.handlers),
                                                      Pair("DumpHTMLElements", "true")));
    EXPECT_EQ(answer.option_block.size(), c.option_bytes);
  }
  EXPECT_FALSE(policy.For("https://www.bank.example/", "10.1.0.1").IsFiltered());
  EXPECT_FALSE(policy.For("http://www.example/", "10.9.9.9").IsFiltered());
  EXPECT_EQ(policy.RulesFor({"http://exam.example/", "10.1.9.1"}).size(), 2U);
}

TEST(Policy, ReadsEverythingElse) {
  const PolicyText text(R"(
[responses]
map-types = false
gzip-again = true
[limits]
held-bytes = "1M"
added-bytes = "2M"
misread-bytes = "3M"
all-held-bytes = "10M"
filter-time = "250ms"
decoded-bytes = 5000
decoded-ratio = 50
beyond = "fail"
[ads]
library = "lib/libvexlar.so"
lists = ["a.txt", "/"]
extra-lists = "a.txt"
rules = ["||ads.example^", "bad.example"]
[event-log]
file = "events.jsonl"
queue = "64K"
leave-out = ["192.0.2.0/24"]
store = "weeks.db"
counters = "5s"
keep-events = "14d"
keep-sums = "240h"
[https]
splice = ["bank.example"]
)");
  text.folder.Write("a.txt", "");
  const Policy policy = ReadPolicy(text.File());
  const ResponseOptions &responses = policy.responses;
  EXPECT_FALSE(responses.presentation.maps_types);
  EXPECT_TRUE(responses.presentation.maps_charsets);
  EXPECT_TRUE(responses.gzips_again);
  EXPECT_EQ(responses.stream.limits.held_bytes.most, 1U << 20);
  EXPECT_EQ(responses.stream.limits.added_bytes.most, 2U << 20);
  EXPECT_EQ(responses.stream.limits.misread_bytes.most, 3U << 20);
  EXPECT_EQ(responses.stream.limits.all_held_bytes.most, 10U << 20);
  EXPECT_EQ(responses.stream.limits.filter_time.most, std::chrono::milliseconds(250));
  EXPECT_EQ(responses.stream.limits.beyond, BeyondLimit::FAIL);
  EXPECT_EQ(responses.decoding.size, 5000U);
  EXPECT_EQ(responses.decoding.ratio, 50U);
  EXPECT_TRUE(policy.ads.is_used);
  EXPECT_EQ(policy.ads.library, text.folder.path() + "/lib/libvexlar.so");
  EXPECT_THAT(policy.ads.lists, ElementsAre(text.folder.path() + "/a.txt", "/"));
  EXPECT_THAT(policy.ads.extra_lists, ElementsAre(text.folder.path() + "/a.txt"));
  EXPECT_THAT(policy.ads.rules, ElementsAre("||ads.example^", "bad.example"));
  ASSERT_TRUE(policy.event_log);
  EXPECT_EQ(policy.event_log->file, text.folder.path() + "/events.jsonl");
  EXPECT_EQ(policy.event_log->queue_bytes, 64U << 10);
  EXPECT_TRUE(IsLeftOut(*policy.event_log, "192.0.2.7"));
  EXPECT_EQ(policy.event_log->store, text.folder.path() + "/weeks.db");
  EXPECT_EQ(policy.event_log->counters, std::chrono::seconds(5));
  EXPECT_EQ(policy.event_log->keep_events, std::chrono::days(14));
  EXPECT_EQ(policy.event_log->keep_sums, std::chrono::days(10));
  EXPECT_THAT(policy.spliced_sites.Names(), ElementsAre("bank.example"));

  const Policy nothing = ReadPolicy(PolicyText("").File());
  EXPECT_FALSE(nothing.For("http://example.com/", "10.0.0.1").IsFiltered());
  EXPECT_FALSE(nothing.event_log);
}

TEST(Policy, NamesEveryProblemWithItsPlace) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"[filter]\nblock = [\"ads\", \"popup\"]", {"2:17: unknown category \"popup\""}},
      {"[filter]\nblok = \"ads\"", {"2:1: unknown key \"blok\"; what can stand here: \"block\""}},
      {"[filters]\n", {"1:2: unknown key \"filters\""}},
      {"block = \"ads\"", {"1:1: unknown key \"block\""}},
      {"filter = 1", {"1:10: should be a table"}},
      {"[filter]\nblock = true", {"2:9: should be a text in quotes"}},
      {"[filter]\nblock = 1e3\nallow = [99]", {"2:9: should", "3:10: unknown category \"99\""}},
      {"[filter]\nsettings = {Datahandlers = \"JS\"}", {"2:13: unknown setting \"Datahandlers\""}},
      {"[filter]\nsettings = {DataHandlers = 1}", {"2:28: should be a text"}},
      {"[filter]\nsettings = {DataHandlers = \"a\\u0000\"}", {"2:28: holds a NUL"}},
      {"[filter]\noption-block = \"0g\"", {"2:16: \"0g\" should be pairs of hex digits"}},
      {"[filter]\noption-block = \"0011 2233 44\"", {"2:16: should have 8 bytes"}},
      {"[rule]\nblock = \"ads\"", {"1:1: should be written [[rule]]"}},
      {"[[rule]]\nblock = \"ads\"", {"1:1: a rule needs"}},
      {"[[rule]]\nwhen = [\"Mon\", \"8-16\"]", {"2:16: \"8-16\" should be days and times"}},
      {"[time]\nzone = \"Mars\"", {"2:8: \"Mars\" is no time zone"}},
      {"[[rule]]\ngroups = \"pupil\"\n[[group]]\nname = \"pupils\"",
       {"2:10: unknown group \"pupil\"; did you mean \"pupils\"?"}},
      {"[[group]]\nclients = \"::1\"", {"1:1: needs a \"name\""}},
      {"[[group]]\nname = \"a b\"", {"2:8: should be a name without blanks"}},
      {"[[group]]\nname = \"a\"\n[[group]]\nname = \"a\"", {"3:1: there is a \"a\" already"}},
      {"[[category]]\nname = \"Ads\"", {"2:8: \"ads\" is a category of the filter"}},
      {"[[expect]]\nurl = \"x\"\nat = \"noon\"\ntype = \"page\"",
       {"2:7: should be a URL", "3:6: \"noon\" should be a time", "4:8: should be one of"}},
      {"[[rule]]\nsites = [\"*.a.example\", \"b\"]\n", {"2:10: \"*.a.example\" should be a plain"}},
      {"[[rule]]\nclients = [\"10.1.0.0/8\"]", {"2:12: \"10.1.0.0/8\" has bits after"}},
      {"[[rule]]\nsite-lists = \"none.txt\"", {"2:14: none.txt: cannot be read: No such file"}},
      {"[limits]\nheld-bytes = \"16MB\"", {"2:14: \"16MB\" should be a size"}},
      {"[limits]\nheld-bytes = \"4G\"", {"2:14: should be 3221225472 at most"}},
      {"[limits]\nheld-bytes = -1", {"2:14: \"-1\" should be a size"}},
      {"[limits]\ndecoded-bytes = \"99999999999G\"", {"2:17: \"99999999999G\" should be a size"}},
      {"[limits]\nfilter-time = 10", {"2:15: should be a text"}},
      {"[limits]\nfilter-time = \"10\"", {"2:15: \"10\" should be a time"}},
      {"[limits]\nbeyond = \"drop\"", {"2:10: should be \"pass\" or \"fail\""}},
      {"[limits]\ndecoded-ratio = 0", {"2:17: should be a number from 1 on"}},
      {"[ads]\nlists = \"none.txt\"", {"none.txt: no such file or folder"}},
      {"[ads]\nenabled = \"yes\"", {"2:11: should be true or false"}},
      {"[event-log]\nkeep-events = \"12h\"", {"2:15: should be from \"1d\""}},
      {"[event-log]\nfile = \"\"", {"2:8: should be a file's name"}},
      {"[https]\nsplice = 3", {"2:10: should be a text"}},
      {"[filter]\nblock = \"ads\"\nblock = \"all\"", {":3:"}},
      {"[filter\n", {":1:"}},
      {std::string("[filter]\nblock = \"\xFF\"", 19), {":2:"}},
  };
  for (const auto &[lines, problems] : cases) {
    SCOPED_TRACE(lines);
    const PolicyText text(lines);
    try {
      ReadPolicy(text.File());
      ADD_FAILURE() << "no problem";
    } catch (const PolicyError &error) {
      EXPECT_EQ(error.Problems().size(), problems.size()) << error.what();
      EXPECT_THAT(error.what(), HasSubstr(text.File().string() + ":"));
      for (const std::string &problem : problems) EXPECT_THAT(error.what(), HasSubstr(problem));
    }
  }
}

TEST(Policy, SaysWhyAFileCannotBeRead) {
  const testing::TemporaryDirectory folder;
  const std::string none = folder.path() + "/none.toml";
  EXPECT_THAT([&] { ReadPolicy(none); },
              ThrowsMessage<PolicyError>(none + ": cannot be read: No such file or directory"));
  EXPECT_THAT([&] { ReadPolicy(folder.path()); },
              ThrowsMessage<PolicyError>(folder.path() + ": cannot be read: Is a directory"));
}

// Each URL has a file of its own, also where both look the same to people; a file of the time when
// names told only that goes on to be its URL's.
TEST(FetchedLists, HaveANameEach) {
  const testing::TemporaryDirectory folder;
  const std::filesystem::path state = folder.path();
  const std::string urls[] = {"https://a.example/x?y",
                              "https://a.example/x/y",
                              "http://a.example/x?y",
                              "https://a.example/x_y.txt",
                              "https://a.example/" + std::string(300, 'x') + "1",
                              "https://a.example/" + std::string(300, 'x') + "2"};
  const auto names = [&] {
    std::set<std::string> found;
    for (const std::string &url : urls) found.insert(FetchedList(state, url).filename());
    return found;
  };
  EXPECT_EQ(names().size(), std::size(urls));
  EXPECT_THAT(*names().begin(), ::testing::MatchesRegex("a\\.example_x.*-[0-9a-f]{16}\\.txt"));

  std::filesystem::create_directory(state / "lists");
  folder.Write("lists/a.example_x_y.txt", "||ads.example^");
  folder.Write("lists/a.example_x_y.txt.json", "{\"url\":\"" + urls[1] + "\"}");
  EXPECT_EQ(FetchedList(state, urls[1]), state / "lists/a.example_x_y.txt");
  EXPECT_EQ(names().size(), std::size(urls));
}

// Taking one back puts a new file in the old one's place, where others add to it.
TEST(Exceptions, AreNotLostWhenSeveralWriteAtOnce) {
  const testing::TemporaryDirectory folder;
  const std::string file = folder.Path("velmora.exceptions");
  const auto add = [&](int count) {
    for (int i = 0; i < count; ++i) {
      Exception exception;
      exception.site.Add("s" + std::to_string(i) + ".example");
      AddException(file, exception);
    }
  };
  add(100);
  std::thread adds([&] { add(100); });
  std::thread takes([&] {
    for (int i = 0; i < 50; ++i) TakeExceptionBack(file);
  });
  for (int i = 0; i < 50; ++i) TakeExceptionBack(file);
  adds.join();
  takes.join();
  EXPECT_EQ(ReadExceptions(file).size(), 100);
}

}  // namespace
}  // namespace velmora::host
