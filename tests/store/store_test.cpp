// The store beside an event log: what it answers, and that feeding it neither loses nor doubles.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <ranges>
#include <set>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#include "host/events/event.h"
#include "host/web/url.h"
#include "store/columns.h"
#include "store/event_store.h"
#include "store/feeding.h"
#include "support/temporary_directory.h"

namespace velmora::store {
namespace {

using host::Event;
using host::EventKind;
using std::chrono::hours;
using std::chrono::minutes;
using ::testing::ElementsAre;

/// A whole hour, so that what happens within one does not depend on when a test runs.
const Time NOW = std::chrono::floor<hours>(std::chrono::system_clock::now());

Event Request(minutes ago, const std::string &client, const std::string &page,
              const std::string &url, const std::string &rule) {
  return {.kind = EventKind::BLOCKED,
          .time = NOW - ago,
          .pid = 7,
          .client = client,
          .url = url,
          .category = host::CATEGORY_REQUESTS,
          .item = "GET",
          .detail = "\"" + rule + "\"",
          .id = host::MakeBlockId(),
          .page = page,
          .type = "script",
          .list = "easylist.txt:12"};
}

class Store : public ::testing::Test {
 protected:
  void Write(const std::string &name, const std::vector<Event> &events) {
    std::string text;
    for (const Event &event : events) text += host::ToLine(event);
    folder_.Write(name, folder_.Read(name) + text);
  }
  FedLog FeedLog() { return Feed(options_); }
  EventStore Open() { return EventStore(folder_.Path("events.db")); }

  testing::TemporaryDirectory folder_;
  host::EventLogOptions options_{.file = folder_.Path("events.jsonl")};
};

std::vector<std::string> Names(const std::vector<Sum> &sums) {
  std::vector<std::string> names;
  for (const Sum &sum : sums) names.push_back(sum.name + " " + std::to_string(sum.counts.blocked));
  return names;
}

std::vector<std::string> Lines(const EventPage &page) {
  std::vector<std::string> lines;
  for (const StoredEvent &stored : page.events) lines.push_back(host::ToLine(stored.event));
  return lines;
}

const std::vector<Event> EVENTS = {
    Request(minutes(300), "192.0.2.7", "http://news.example/a?b=c", "http://ads.example/x.js?1",
            "||ads.example^"),
    Request(minutes(299), "192.0.2.8", "http://news.example/", "http://ads.example/x.js?2",
            "||ads.example^"),
    Request(minutes(30), "192.0.2.7", "http://www.news.example/", "http://track.example/%5f.gif",
            "/%5f.gif"),
    {.kind = EventKind::BLOCKED,
     .time = NOW - minutes(29),
     .client = "2001:db8::1",
     .url = "http://games.example/play",
     .category = CATEGORY_FLASH,
     .item = "OBJECT classid=clsid:1",
     .detail = "movie.swf",
     .id = "not-an-id",
     .address = "http://games.example/movie.swf",
     .response = "0123456789",
     .offset = 0},
    {.kind = EventKind::FILTERED,
     .time = NOW - minutes(29),
     .client = "2001:db8::1",
     .url = "http://games.example/play",
     .id = "0123456789",
     .items = 3,
     .saved = -12},
    {.kind = EventKind::GUARDED,
     .time = NOW - minutes(28),
     .client = "192.0.2.8",
     .url = "http://news.example/",
     .category = CATEGORY_POPUPS},
    {.kind = EventKind::STOPPED,
     .time = NOW - minutes(27),
     .client = "192.0.2.8",
     .url = "http://news.example/long",
     .reason = "out of memory"},
    {.kind = EventKind::ERROR, .time = NOW - minutes(26), .pid = 9, .reason = "no list"},
    {.kind = EventKind::DROPPED, .time = NOW - minutes(25), .pid = 9, .count = 12},
};

TEST_F(Store, KeepsEventsAsTheLogHasThem) {
  Write("events.jsonl", EVENTS);
  EXPECT_EQ(EVENTS.size(), FeedLog().events);
  std::vector<std::string> expected;
  for (auto event = EVENTS.rbegin(); event != EVENTS.rend(); ++event) {
    expected.push_back(host::ToLine(*event));
  }
  const EventStore store = Open();
  EXPECT_EQ(expected, Lines(store.Events({})));
  // Page after page comes the same.
  std::vector<std::string> paged;
  std::optional<std::int64_t> before;
  for (EventPage page{.is_more = true}; page.is_more; before = page.events.back().key) {
    page = store.Events({}, 2, before);
    for (const std::string &line : Lines(page)) paged.push_back(line);
    EXPECT_EQ(host::ToLine(page.events[0].event),
              host::ToLine(store.Find(page.events[0].key)->event));
  }
  EXPECT_EQ(expected, paged);
  EXPECT_EQ("news.example", store.Events({}).events.back().site);
}

TEST_F(Store, AnswersWhatIsAskedAbout) {
  Write("events.jsonl", EVENTS);
  FeedLog();
  const EventStore store = Open();
  const auto networks = [](const char *text) {
    return std::vector{host::ClientNetwork::Parse(text)};
  };
  host::HostSet news;
  news.Add("news.example");
  const struct {
    Filter filter;
    /// From the newest on, by their numbers in `EVENTS`.
    std::vector<std::size_t> events;
    Counts counts;
  } cases[] = {
      {{}, {8, 7, 6, 5, 4, 3, 2, 1, 0}, {4, 3, 1, -12, 1, 1, 1, 12}},
      {{.from = NOW - hours(1), .until = NOW - minutes(28)},
       {4, 3, 2},
       {2, 1, 1, -12, 1, 1, 1, 12}},
      {{.clients = networks("192.0.2.7")}, {2, 0}, {2, 2}},
      {{.clients = networks("2001:db8::/32")}, {4, 3}, {1, 0, 1, -12}},
      {{.without_clients = networks("192.0.2.0/24")}, {8, 7, 4, 3}, {1, 0, 1, -12, 0, 0, 1, 12}},
      {{.sites = news}, {6, 5, 2, 1, 0}, {3, 3, 0, 0, 1, 1}},
      {{.clients = networks("192.0.2.8"), .sites = news}, {6, 5, 1}, {1, 1, 0, 0, 1, 1}},
      {{.categories = host::CategorySet::Parse("flash")}, {3}, {1}},
      {{.kinds = {EventKind::STOPPED, EventKind::ERROR}}, {7, 6}, {0, 0, 0, 0, 0, 1, 1}},
      {{.rule = "||ads.example^"}, {1, 0}, {2, 2}},
      {{.clients = networks("192.0.2.7"), .rule = "||ads.example^"}, {0}, {1, 1}},
      {{.text = "ADS.example/x"}, {1, 0}, {2, 2}},
      // Of the page, of a rule, of a client, an id; what the database takes for a sign is none.
      {{.text = "games.example/PL"}, {4, 3}, {1, 0, 1, -12}},
      {{.text = "/%5f"}, {2}, {1, 1}},
      {{.text = "_"}, {}, {}},
      {{.text = "001:db"}, {4, 3}, {1, 0, 1, -12}},
      {{.text = "not-an-id"}, {3}, {1}},
      {{.text = EVENTS[0].id}, {0}, {1, 1}},
      {{.text = "0123456789"}, {4}, {0, 0, 1, -12}},
      {{.clients = networks("198.51.100.1")}, {}, {}},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    std::vector<std::string> expected;
    for (const std::size_t number : cases[i].events) {
      expected.push_back(host::ToLine(EVENTS[number]));
    }
    EXPECT_EQ(expected, Lines(store.Events(cases[i].filter))) << "case " << i;
    EXPECT_EQ(cases[i].counts, store.Total(cases[i].filter)) << "case " << i;
    // Each way of adding up comes to the same.
    for (const Dimension by : {Dimension::CLIENT, Dimension::SITE, Dimension::HOUR}) {
      Counts total;
      for (const Sum &sum : store.Sums(by, cases[i].filter)) Add(total, sum.counts);
      EXPECT_EQ(cases[i].counts, total) << "case " << i;
    }
  }
  EXPECT_THAT(Names(store.Sums(Dimension::CLIENT, {})),
              ElementsAre("192.0.2.7 2", "192.0.2.8 1", "2001:db8::1 1", " 0"));
  EXPECT_THAT(Names(store.Sums(Dimension::SITE, {}, 2)),
              ElementsAre("news.example 2", "games.example 1"));
  EXPECT_THAT(Names(store.Sums(Dimension::CATEGORY, {})), ElementsAre("requests 3", "flash 1"));
  EXPECT_THAT(Names(store.Sums(Dimension::RULE, {})),
              ElementsAre("||ads.example^ 2", "/%5f.gif 1"));
  EXPECT_EQ("easylist.txt:12", store.Sums(Dimension::RULE, {})[0].list);
  EXPECT_EQ(NOW - hours(5), store.Sums(Dimension::HOUR, {})[0].hour);
  EXPECT_EQ(std::pair(EVENTS.front().time, EVENTS.back().time), *store.Period());
}

/// All that a store answers.
std::vector<std::string> Dump(const EventStore &store) {
  std::vector<std::string> dump = Lines(store.Events({}, 10'000));
  for (const Dimension by : {Dimension::CLIENT, Dimension::SITE, Dimension::CATEGORY,
                             Dimension::RULE, Dimension::HOUR}) {
    for (const Sum &sum : store.Sums(by, {})) {
      dump.push_back(sum.name + sum.list + " " + host::TimeText(sum.hour) + " " +
                     std::to_string(sum.counts.blocked) + " " +
                     std::to_string(sum.counts.bytes_saved));
    }
  }
  return dump;
}

TEST_F(Store, LosesAndDoublesNothingWhateverBecomesOfTheLog) {
  const auto events = [](std::size_t first, std::size_t end) {
    return std::vector(EVENTS.begin() + static_cast<std::ptrdiff_t>(first),
                       EVENTS.begin() + static_cast<std::ptrdiff_t>(end));
  };
  const std::string whole_line = host::ToLine(EVENTS[3]);
  Write("events.jsonl", events(0, 3));
  EXPECT_EQ(3U, FeedLog().events);
  EXPECT_EQ(0U, FeedLog().events);
  // A line that is not there to its end yet is read when it is.
  folder_.Write("events.jsonl", folder_.Read("events.jsonl") + whole_line.substr(0, 40));
  EXPECT_EQ(0U, FeedLog().events);
  folder_.Write("events.jsonl", folder_.Read("events.jsonl") + whole_line.substr(40));
  EXPECT_EQ(1U, FeedLog().events);
  // Rotated with a rest that nobody has read, then once more and compressed.
  Write("events.jsonl", events(4, 5));
  const auto shell = [&](const std::string &line) {
    EXPECT_EQ(0, std::system(("cd " + folder_.path() + " && " + line).c_str()));
  };
  shell("mv events.jsonl events.jsonl.1");
  Write("events.jsonl", events(5, 7));
  EXPECT_EQ(3U, FeedLog().events);
  shell(
      "mv events.jsonl.1 events.jsonl.2 && gzip events.jsonl.2 && mv events.jsonl events.jsonl.1");
  EXPECT_EQ(0U, FeedLog().events);
  // Copied and emptied, as some do, with a rest that was written in between.
  Write("events.jsonl", events(7, 8));
  EXPECT_EQ(1U, FeedLog().events);
  Write("events.jsonl", events(8, 9));
  shell(
      "mv events.jsonl.1 events.jsonl-20260301 && cp events.jsonl events.jsonl.1 && : "
      ">events.jsonl");
  EXPECT_EQ(1U, FeedLog().events);
  folder_.Write("events.jsonl", std::string("\0\0nonsense\n", 11) + "{\"time\":1}\n");
  EXPECT_EQ(2U, FeedLog().unreadable);

  const std::vector<std::string> fed = Dump(Open());
  EXPECT_EQ(EVENTS.size(), Lines(Open().Events({})).size());
  EXPECT_EQ(EVENTS.size(), Rebuild(options_).events);
  EXPECT_EQ(fed, Dump(Open()));
}

TEST_F(Store, IsMadeAnewWhenItCannotBeRead) {
  Write("events.jsonl", EVENTS);
  FeedLog();
  const std::vector<std::string> whole = Dump(Open());
  const std::string bytes = folder_.Read("events.db");
  std::string hole = bytes;
  hole.replace(8192, hole.size() - 8192, hole.size() - 8192, '\x55');
  const std::string damaged[] = {"no database at all, but long enough to be looked at as one",
                                 bytes.substr(0, 5000), hole};
  for (const std::string &text : damaged) {
    for (const char *const end : {"-wal", "-shm"}) {
      std::filesystem::remove(folder_.Path("events.db") + end);
    }
    folder_.Write("events.db", text);
    EXPECT_THROW(Dump(Open()), DamagedStore);
    // There is something to write, and so to notice.
    Write("events.jsonl", {EVENTS[0]});
    EXPECT_THAT(FeedLog().made_anew, ::testing::HasSubstr("events.db"));
    EXPECT_NO_THROW(Dump(Open()));
  }
  EXPECT_EQ(EVENTS.size() + 3, Open().Events({}).events.size());
  EXPECT_THROW(EventStore(folder_.Path("none.db")), std::system_error);
}

TEST_F(Store, KeepsNoMoreThanItIsToKeep) {
  Event old = EVENTS[0];
  old.time = NOW - hours(24 * 20);
  old.url = "http://ads.example/visited.js";
  Event older = EVENTS[3];
  older.time = NOW - hours(24 * 50);
  Write("events.jsonl", {older, old, EVENTS[0], EVENTS[1], EVENTS[3]});
  options_.keep_events = hours(24 * 60);
  FeedLog();
  EXPECT_EQ(5U, Open().Events({}).events.size());

  // Single events go first, then the sums, and with both the texts: of what was visited nothing is
  // left in the file.
  options_.keep_events = hours(24 * 3);
  options_.keep_sums = hours(24 * 30);
  FeedLog();
  EXPECT_EQ(3U, Open().Events({}).events.size());
  EXPECT_EQ(4U, Open().Total({}).blocked);
  for (const char *const file : {"events.db", "events.db-wal"}) {
    EXPECT_EQ(std::string::npos, folder_.Read(file).find("visited")) << file;
  }

  host::EventLogOptions strict = options_;
  strict.urls = host::UrlDetail::SITE;
  strict.clients = host::ClientDetail::NETWORK;
  strict.left_out = {host::ClientNetwork::Parse("192.0.2.8")};
  Rebuild(strict);
  EXPECT_THAT(Names(Open().Sums(Dimension::CLIENT, {})),
              ElementsAre("192.0.2.0/24 2", "2001:db8::/48 1"));
  EXPECT_EQ(0U, Open().Events({.text = "news.example/a"}).events.size());
  EXPECT_EQ("http://ads.example/", Open().Events({.text = "ads.example"}).events[0].event.url);
}

/// Three days: enough for segments, for blocks of texts and for whole days of sums. Now and then
/// one comes late.
std::vector<Event> ManyEvents() {
  constexpr int MANY = 9000;
  std::mt19937 random(7);
  const auto pick = [&](const std::string &before, unsigned most, const std::string &after) {
    return before + std::to_string(random() % most) + after;
  };
  std::vector<Event> events;
  for (int i = 0; i < MANY; ++i) {
    const std::string number = std::to_string(i);
    Event event = Request(
        minutes(0), pick("192.0.2.", 20, ""), pick("http://www.site", 30, ".example/") + number,
        pick("http://ads.example/", 50, ".js?") + number, pick("||ads", 9, ".example^"));
    event.time -= std::chrono::milliseconds(28'800) * (MANY - i) + minutes(i % 100 == 0 ? 200 : 0);
    if (i % 13 == 0) {
      event = {.kind = EventKind::FILTERED,
               .time = event.time,
               .client = event.client,
               .url = event.page,
               .id = event.id,
               .items = 3,
               .saved = static_cast<int>(random() % 1000) - 50};
    } else if (i % 7 == 0) {
      event.category = CATEGORY_SCRIPTS;
    } else if (i % 1001 == 0) {
      event = {.kind = EventKind::DROPPED, .time = event.time, .count = 5};
    }
    events.push_back(event);
  }
  return events;
}

/// What the store is to come to, the plain way.
class Counted {
 public:
  Counted(const std::vector<Event> &events, const Filter &filter) {
    for (const Event &event : events) {
      if (Passes(event, filter)) events_.push_back(event);
    }
    std::ranges::stable_sort(events_, std::greater(), &Event::time);
  }

  std::multiset<std::string> Newest(std::size_t most) const {
    std::multiset<std::string> lines;
    for (const Event &event : events_ | std::views::take(most)) lines.insert(host::ToLine(event));
    return lines;
  }
  std::map<std::string, Counts> Sums(Dimension by) const {
    std::map<std::string, Counts> sums;
    for (const Event &event : events_) Add(sums[NameOf(event, by)], CountsOf(event));
    std::erase_if(sums, [&](const auto &sum) {
      const bool is_of_blocked = by == Dimension::CATEGORY || by == Dimension::RULE;
      return is_of_blocked && (sum.first.empty() || sum.second.blocked == 0);
    });
    return sums;
  }

 private:
  static std::string SiteOf(const Event &event) {
    return host::HostOfUrl(event.page.empty() ? event.url : event.page);
  }
  static std::string NameOf(const Event &event, Dimension by) {
    switch (by) {
      case Dimension::CLIENT:
        return event.client;
      case Dimension::SITE:
        return SiteOf(event);
      case Dimension::CATEGORY:
        return std::string(host::NameOfCategory(event.category));
      case Dimension::RULE:
        return event.detail.empty() ? "" : event.detail.substr(1, event.detail.size() - 2);
      case Dimension::HOUR:
        return host::TimeText(BeginningOfHour(event.time));
    }
    return {};
  }
  static Counts CountsOf(const Event &event) {
    if (event.kind == EventKind::DROPPED) return {.missing = event.count};
    if (event.kind == EventKind::FILTERED) return {.filtered = 1, .bytes_saved = event.saved};
    return {.blocked = 1, .requests_saved = event.category == host::CATEGORY_REQUESTS ? 1U : 0U};
  }
  static bool Passes(const Event &event, const Filter &filter) {
    const auto is_in = [&](const std::vector<host::ClientNetwork> &networks) {
      const auto address = host::ClientAddress::Parse(event.client);
      return address && networks.front().Contains(*address);
    };
    const auto has_text = [&](const std::string &text) {
      return text.find(filter.text) != text.npos;
    };
    return (!filter.from || event.time >= *filter.from) &&
           (!filter.until || event.time < *filter.until) &&
           (filter.clients.empty() || is_in(filter.clients)) &&
           (filter.without_clients.empty() || !is_in(filter.without_clients)) &&
           (filter.sites.IsEmpty() || filter.sites.Contains(host::HostName(SiteOf(event)))) &&
           (!filter.categories || filter.categories->Contains(event.category)) &&
           (filter.rule.empty() || event.detail == "\"" + filter.rule + "\"") &&
           (filter.text.empty() || has_text(event.url) || has_text(event.page) ||
            has_text(event.detail));
  }

  std::vector<Event> events_;
};

/// Questions of every kind, each held against counting.
void ExpectCounted(const EventStore &store, const std::vector<Event> &events,
                   std::optional<Time> from = std::nullopt) {
  const std::vector<host::ClientNetwork> client{host::ClientNetwork::Parse("192.0.2.7")};
  host::HostSet site;
  site.Add("site3.example");
  const auto scripts = host::CategorySet::Parse("scripts");
  Filter filters[] = {
      {},
      {.until = NOW - hours(5)},
      {.from = NOW - hours(51), .until = NOW - hours(2)},
      {.from = NOW - hours(3)},
      {.clients = client},
      {.without_clients = client},
      {.sites = site},
      {.categories = scripts},
      {.rule = "||ads2.example^"},
      {.clients = client, .sites = site},
      {.from = NOW - hours(40), .clients = client, .categories = scripts},
      {.sites = site, .rule = "||ads2.example^"},
      {.text = "ads.example/17."},
      {.text = "site3.example/44"},
      {.clients = client, .text = "ads2.ex"},
      {.text = "nowhere"},
  };
  for (std::size_t i = 0; i < std::size(filters); ++i) {
    Filter &filter = filters[i];
    if (from) filter.from = std::max(*from, filter.from.value_or(*from));
    const Counted counted(events, filter);
    const std::vector<std::string> newest = Lines(store.Events(filter, 3000));
    EXPECT_TRUE(counted.Newest(3000) == std::multiset(newest.begin(), newest.end()))
        << "filter " << i;
    for (const Dimension by : {Dimension::CLIENT, Dimension::SITE, Dimension::CATEGORY,
                               Dimension::RULE, Dimension::HOUR}) {
      std::map<std::string, Counts> sums;
      for (const Sum &sum : store.Sums(by, filter)) {
        sums[by == Dimension::HOUR ? host::TimeText(sum.hour) : sum.name] = sum.counts;
      }
      EXPECT_TRUE(counted.Sums(by) == sums) << "filter " << i << ", by " << static_cast<int>(by);
    }
  }
}

TEST_F(Store, ComesToWhatCountingComesTo) {
  std::vector<Event> events = ManyEvents();
  const auto write = [&](std::size_t first, std::size_t end) {
    Write("events.jsonl", std::vector(events.begin() + static_cast<std::ptrdiff_t>(first),
                                      events.begin() + static_cast<std::ptrdiff_t>(end)));
  };
  // A few at a time and many at once, and a rotation in between.
  std::size_t first = 0;
  for (const std::size_t end : {10, 3000, 3010, 8000}) {
    write(first, end);
    FeedLog();
    first = end;
  }
  std::filesystem::rename(folder_.Path("events.jsonl"), folder_.Path("events.jsonl.1"));
  write(8000, events.size());
  FeedLog();
  ExpectCounted(Open(), events);
  Rebuild(options_);
  ExpectCounted(Open(), events);

  // Feeders that are ended wherever they are.
  for (const int milliseconds : {1, 20, 60, 120, 250}) {
    for (const char *const end : {"", "-wal", "-shm"}) {
      std::filesystem::remove(folder_.Path("events.db") + end);
    }
    const pid_t feeder = fork();
    if (feeder == 0) {
      FeedLog();
      _exit(0);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    kill(feeder, SIGKILL);
    waitpid(feeder, nullptr, 0);
    FeedLog();
  }
  ExpectCounted(Open(), events);

  // A day of them dropped, which begins within a segment; then more.
  options_.keep_events = hours(30);
  FeedLog();
  const Time oldest =
      std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now() - hours(30));
  ExpectCounted(Open(), events, oldest);
  const std::vector<Event> more(events.end() - 500, events.end());
  Write("events.jsonl", more);
  events.insert(events.end(), more.begin(), more.end());
  FeedLog();
  ExpectCounted(Open(), events, oldest);
  const std::vector<Sum> hours_of_all = Open().Sums(Dimension::HOUR, {});
  EXPECT_EQ(BeginningOfHour(std::ranges::min(events, {}, &Event::time).time),
            hours_of_all.front().hour);
}

TEST(Columns, ComeBackAsTheyWereOrNotAtAll) {
  constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
  const std::pair<Values, std::size_t> cases[] = {
      {{}, 0},         {{-7, -7}, 0},        {{-7, 248}, 1},       {{-7, 249}, 2},
      {{5, 65541}, 4}, {{0, 4294967295}, 4}, {{0, 4294967296}, 8}, {{MOST, LEAST, 0}, 8},
  };
  for (const auto &[values, width] : cases) {
    const std::string bytes = Pack(values);
    EXPECT_EQ(bytes.size(), 9 + width * values.size());
    Values back;
    Unpack(bytes, values.size(), back);
    EXPECT_EQ(back, values);
    EXPECT_THROW(Unpack(bytes.substr(0, bytes.size() - 1), values.size(), back), SQLite::Exception);
    EXPECT_THROW(Unpack(bytes + "x", values.size(), back), SQLite::Exception);
  }
  Values back;
  EXPECT_THROW(Unpack(std::string(8, '\0') + "\3abcdef", 2, back), SQLite::Exception);
}

TEST_F(Store, TellsOfBlocksOfTextsThatAreNotWhole) {
  Write("events.jsonl", ManyEvents());
  FeedLog();
  SQLite::Database database(folder_.Path("events.db"), SQLite::OPEN_READWRITE);
  const std::string whole = database.execAndGet("SELECT min(data) FROM text_blocks").getString();
  std::string of_too_many = whole;
  std::ranges::fill_n(of_too_many.begin(), 4, '\xff');
  std::string of_none = whole;
  std::ranges::fill_n(of_none.begin(), 4, '\0');
  std::string of_other_numbers = whole;
  std::ranges::fill_n(of_other_numbers.begin() + 4, 4 * 4096, '\xff');
  const std::string damaged[] = {"",
                                 "\1",
                                 whole.substr(0, whole.size() - 1),
                                 whole + "x",
                                 of_too_many,
                                 of_none,
                                 of_other_numbers};
  for (const std::string &data : damaged) {
    SQLite::Statement write(database, "UPDATE text_blocks SET data = ?");
    write.bind(1, data.data(), static_cast<int>(data.size()));
    EXPECT_LT(0, write.exec());
    EXPECT_THROW(Open().Events({.text = "example/"}), DamagedStore) << data.size();
  }
}

TEST_F(Store, IsReadWhileItIsFed) {
  constexpr std::size_t ROUNDS = 20;
  Write("events.jsonl", {EVENTS[0]});
  FeedLog();
  std::atomic<bool> is_over = false;
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] {
      std::uint64_t before = 0;
      while (!is_over) {
        // Events and sums tell of one state of the log each, and never of an earlier one.
        const EventStore store = Open();
        const std::uint64_t now = store.Total({}).blocked;
        EXPECT_LE(before, now);
        EXPECT_LE(now, store.Events({}, 1000).events.size());
        before = now;
      }
    });
  }
  // Feeders that come in each other's way: nothing is lost or doubled.
  std::vector<std::thread> feeders;
  for (std::size_t round = 0; round < ROUNDS; ++round) {
    Write("events.jsonl", {EVENTS[0], EVENTS[1]});
    for (int i = 0; i < 2; ++i) feeders.emplace_back([&] { EXPECT_EQ("", FeedLog().made_anew); });
    for (std::thread &feeder : feeders) feeder.join();
    feeders.clear();
  }
  is_over = true;
  for (std::thread &reader : readers) reader.join();
  EXPECT_EQ(1 + 2 * ROUNDS, Open().Total({}).blocked);
  EXPECT_EQ(1 + 2 * ROUNDS, Open().Events({}, 1000).events.size());
}

}  // namespace
}  // namespace velmora::store
