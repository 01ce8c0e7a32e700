// EventWalk: finds the newest events that pass a filter, by the index that leads to fewest of them.
//
// Most filters pass many of the newest events: some of these are looked at first, one after the
// other. Where that does not find enough, the filter is rare, and one of its parts is walked down
// its index, newest first, value by value; once there are enough events, a value's walk ends where
// it gets older than all of them.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "store/matcher.h"
#include "store/rows.h"
#include "store/text_search.h"

namespace velmora::store {

/// Keys from the first one on, and before the last one.
struct KeyRange {
  std::int64_t first = 0;
  std::int64_t end = 0;
};

/// What sums want of an event.
struct WalkedEvent {
  std::int64_t key = 0;
  RowNumbers numbers{};
  std::int64_t bytes = 0;
  /// How many are missing, of an event that says so.
  std::int64_t number = 0;
};

class EventWalk {
 public:
  EventWalk(SQLite::Database &database, const Filter &filter);

  /// The keys of the newest events, `most` of them at most; the newest first.
  std::vector<std::int64_t> Newest(KeyRange range, std::size_t most);

  /// Calls a function with every event that passes, once.
  template <class Function>
  void All(KeyRange range, Function on_event);

 private:
  /// Some values of a column lead to events; all of a part's ways together to all that pass it.
  using Way = TextSearch::Values;
  using Part = std::vector<Way>;

  /// The rows of an index, or of all events.
  Rows Select(const char *column, const char *order) const;
  bool Passes(const Rows &rows);
  /// Whether there is a part of the filter that leads to events.
  bool HasIndex() const noexcept {
    return matcher_.Whats() || matcher_.Clients() || matcher_.Sites() || matcher_.Rules() || text_;
  }
  std::vector<Part> Parts();
  Part BestPart(KeyRange range);
  std::size_t Weigh(const Part &part, KeyRange range, std::size_t most);
  static RowNumbers NumbersOf(const Rows &rows) noexcept {
    return {.what = rows[1], .client = rows[2], .site = rows[3], .rule = rows[4]};
  }

  SQLite::Database &database_;
  const Matcher matcher_;
  std::optional<TextSearch> text_;
};

template <class Function>
void EventWalk::All(KeyRange range, Function on_event) {
  const Part part = BestPart(range);
  Numbers seen;
  const auto take = [&](Rows &rows) {
    while (rows.Next()) {
      if (!Passes(rows)) continue;
      // Several ways may lead to one event.
      if (part.size() > 1 && !seen.insert(rows[0]).second) continue;
      on_event(WalkedEvent{rows[0], NumbersOf(rows), rows[5], part.empty() ? rows[6] : 0});
    }
  };
  if (part.empty()) {
    Rows rows = Select(nullptr, "");
    rows.Begin(range.first, range.end);
    take(rows);
  }
  for (const auto &[column, values] : part) {
    Rows rows = Select(column, "");
    for (const std::int64_t value : values) {
      rows.Begin(range.first, range.end, value);
      take(rows);
    }
  }
}

}  // namespace velmora::store
