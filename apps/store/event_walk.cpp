#include "store/event_walk.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <set>

#include "store/event_rows.h"
#include "store/text_search.h"

namespace velmora::store {
namespace {

template <class Predicate>
void Keep(std::vector<std::uint32_t> &places, const Values &values, Predicate passes) {
  std::size_t kept = 0;
  for (const std::uint32_t place : places) {
    places[kept] = place;
    kept += passes(values[place]) ? 1U : 0U;
  }
  places.resize(kept);
}

}  // namespace

EventWalk::EventWalk(SQLite::Database &database, const Filter &filter)
    : segments_(database), matcher_(database, filter) {
  if (filter.text.empty()) return;
  texts_ = TextsWith(database, filter.text);
  id_ = NumberOfId(filter.text);
}

void EventWalk::FindPassing(Segment &segment, KeyRange range) {
  passing_.resize(segment.Size());
  std::iota(passing_.begin(), passing_.end(), 0U);
  const auto keep_in = [&](Column column, const std::optional<NumberSet> &numbers) {
    if (!numbers || passing_.empty()) return;
    Keep(passing_, segment[column], [&](std::int64_t number) { return numbers->Contains(number); });
  };
  keep_in(Column::CLIENT, matcher_.Clients());
  keep_in(Column::SITE, matcher_.Sites());
  keep_in(Column::RULE, matcher_.Rules());
  keep_in(Column::WHAT, matcher_.Whats());
  if (matcher_.WithoutClients() && !passing_.empty()) {
    Keep(passing_, segment[Column::CLIENT],
         [&](std::int64_t client) { return !matcher_.WithoutClients()->Contains(client); });
  }
  if (texts_) KeepThoseWithText(segment);
  if (passing_.empty() || (segment.First() >= range.first && segment.Last() < range.end)) return;
  Keep(passing_, segment[Column::KEY],
       [&](std::int64_t key) { return key >= range.first && key < range.end; });
}

void EventWalk::KeepThoseWithText(Segment &segment) {
  if (passing_.empty()) return;
  const Values &rules = segment[Column::RULE];
  const Values &clients = segment[Column::CLIENT];
  const Values &addresses = segment[Column::ADDRESS];
  const Values &pages = segment[Column::PAGE];
  const Values &ids = segment[Column::ID];
  std::erase_if(passing_, [&](std::uint32_t place) {
    return !texts_->Contains(addresses[place]) && !texts_->Contains(pages[place]) &&
           !texts_->Contains(rules[place]) && !texts_->Contains(clients[place]) &&
           ids[place] != id_;
  });
}

std::vector<std::int64_t> EventWalk::Newest(KeyRange range, std::size_t most) {
  std::set<std::int64_t, std::greater<>> found;
  segments_.ForEach(range, [&](Segment &segment) {
    const auto is_among_newest = [&](std::int64_t key) {
      return found.size() < most || key > *found.rbegin();
    };
    if (!is_among_newest(segment.Last())) return segment.Number() == 0;
    FindPassing(segment, range);
    for (auto place = passing_.rbegin(); place != passing_.rend(); ++place) {
      const std::int64_t key = segment[Column::KEY][*place];
      if (!is_among_newest(key)) break;
      found.insert(key);
      if (found.size() > most) found.erase(std::prev(found.end()));
    }
    return true;
  });
  return {found.begin(), found.end()};
}

}  // namespace velmora::store
