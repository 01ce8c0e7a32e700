// What the store comes to against plain counting, whatever becomes of its feeders.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <ranges>
#include <set>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "host/web/url.h"
#include "store_fixture.h"

namespace velmora::store {
namespace {

using host::Event;
using host::EventKind;
using std::chrono::hours;
using std::chrono::minutes;

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

}  // namespace
}  // namespace velmora::store
