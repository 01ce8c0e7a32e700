// The store beside an event log: what it answers, and that feeding it neither loses nor doubles.
#include <SQLiteCpp/SQLiteCpp.h>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "host/web/url.h"
#include "store_fixture.h"

namespace velmora::store {
namespace {

using host::Event;
using host::EventKind;
using std::chrono::hours;
using std::chrono::minutes;
using ::testing::ElementsAre;

std::vector<std::string> Names(const std::vector<Sum> &sums) {
  std::vector<std::string> names;
  for (const Sum &sum : sums) names.push_back(sum.name + " " + std::to_string(sum.counts.blocked));
  return names;
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
