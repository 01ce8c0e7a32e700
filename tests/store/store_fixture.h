// A store in a folder of its own, and events that are made up.
#pragma once

#include <chrono>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "host/events/event.h"
#include "store/event_store.h"
#include "store/feeding.h"
#include "support/temporary_directory.h"

namespace velmora::store {

/// A whole hour, so that what happens within one does not depend on when a test runs.
inline const Time NOW = std::chrono::floor<std::chrono::hours>(std::chrono::system_clock::now());

inline host::Event Request(std::chrono::minutes ago, const std::string &client,
                           const std::string &page, const std::string &url,
                           const std::string &rule) {
  return {.kind = host::EventKind::BLOCKED,
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
  void Write(const std::string &name, const std::vector<host::Event> &events) {
    std::string text;
    for (const host::Event &event : events) text += host::ToLine(event);
    folder_.Write(name, folder_.Read(name) + text);
  }
  FedLog FeedLog() { return Feed(options_); }
  EventStore Open() { return EventStore(folder_.Path("events.db")); }

  velmora::testing::TemporaryDirectory folder_;
  host::EventLogOptions options_{.file = folder_.Path("events.jsonl")};
};

inline std::vector<std::string> Lines(const EventPage &page) {
  std::vector<std::string> lines;
  for (const StoredEvent &stored : page.events) lines.push_back(host::ToLine(stored.event));
  return lines;
}

/// Three days: enough for segments, for blocks of texts and for whole days of sums. Now and then
/// one comes late.
inline std::vector<host::Event> ManyEvents() {
  constexpr int MANY = 9000;
  std::mt19937 random(7);
  const auto pick = [&](const std::string &before, unsigned most, const std::string &after) {
    return before + std::to_string(random() % most) + after;
  };
  std::vector<host::Event> events;
  for (int i = 0; i < MANY; ++i) {
    const std::string number = std::to_string(i);
    host::Event event =
        Request(std::chrono::minutes(0), pick("192.0.2.", 20, ""),
                pick("http://www.site", 30, ".example/") + number,
                pick("http://ads.example/", 50, ".js?") + number, pick("||ads", 9, ".example^"));
    event.time -= std::chrono::milliseconds(28'800) * (MANY - i) +
                  std::chrono::minutes(i % 100 == 0 ? 200 : 0);
    if (i % 13 == 0) {
      event = {.kind = host::EventKind::FILTERED,
               .time = event.time,
               .client = event.client,
               .url = event.page,
               .id = event.id,
               .items = 3,
               .saved = static_cast<int>(random() % 1000) - 50};
    } else if (i % 7 == 0) {
      event.category = CATEGORY_SCRIPTS;
    } else if (i % 1001 == 0) {
      event = {.kind = host::EventKind::DROPPED, .time = event.time, .count = 5};
    }
    events.push_back(event);
  }
  return events;
}

}  // namespace velmora::store
