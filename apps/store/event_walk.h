// EventWalk: the events of a store that pass a filter, found by looking through their columns.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "store/columns.h"
#include "store/matcher.h"
#include "store/number_set.h"

namespace velmora::store {

class EventWalk {
 public:
  EventWalk(SQLite::Database &database, const Filter &filter);

  /// The keys of the newest events, `most` of them at most; the newest first.
  std::vector<std::int64_t> Newest(KeyRange range, std::size_t most);

  /// Calls a function with every segment of which events pass, and their places in it.
  template <class Function>
  void All(KeyRange range, Function function) {
    segments_.ForEach(range, [&](Segment &segment) {
      FindPassing(segment, range);
      if (!passing_.empty()) function(segment, passing_);
      return true;
    });
  }

 private:
  using Places = std::vector<std::uint32_t>;

  void FindPassing(Segment &segment, KeyRange range);
  void KeepThoseWithText(Segment &segment);

  Segments segments_;
  const Matcher matcher_;
  /// The texts that have what is looked for in them, and what it is as an id.
  std::optional<NumberSet> texts_;
  std::int64_t id_ = 0;
  Places passing_;
};

}  // namespace velmora::store
