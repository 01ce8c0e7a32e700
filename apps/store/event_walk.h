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
#include <set>
#include <string>
#include <vector>

#include "store/matcher.h"

namespace velmora::store {

/// Keys from the first one on, and before the last one.
struct KeyRange {
  std::int64_t first = 0;
  std::int64_t end = 0;
};

/// One column's index, and the values of it that are meant.
struct Way {
  const char *column;
  std::vector<std::int64_t> values;
};

class EventWalk {
 public:
  EventWalk(SQLite::Database &database, const Matcher &matcher);

  /// The keys of the newest events, `most` of them at most; the newest first.
  std::vector<std::int64_t> Newest(KeyRange range, std::size_t most);

  /// Calls a function with every row that passes, once.
  using OnRow = std::function<void(std::int64_t key, const RowNumbers &row, std::int64_t number,
                                   std::int64_t bytes)>;
  void All(KeyRange range, const OnRow &on_row);

 private:
  using Found = std::set<std::int64_t, std::greater<>>;

  bool Passes(const RowNumbers &row, std::int64_t key) const;
  /// The ways of one part lead to all events that pass it.
  std::vector<std::vector<Way>> Parts() const;
  std::vector<Way> BestWays(KeyRange range);
  std::size_t Weigh(const std::vector<Way> &ways, KeyRange range, std::size_t most);
  void FindIds(KeyRange range);

  SQLite::Database &database_;
  const Matcher &matcher_;
  /// Of events that have the text for an id.
  Found with_id_;
};

}  // namespace velmora::store
