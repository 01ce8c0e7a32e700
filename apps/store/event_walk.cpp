#include "store/event_walk.h"

#include <algorithm>
#include <limits>

#include "store/event_rows.h"

namespace velmora::store {
namespace {

/// So many of the newest events are looked at before an index is.
constexpr int MOST_LOOKED_AT = 20'000;
/// Ways that are longer than this are equal.
constexpr std::size_t MOST_WEIGHED = 200'000;

constexpr char COLUMNS[] =
    "SELECT key, what, client, site, rule, address, page, number, bytes FROM events";

RowNumbers RowOf(const SQLite::Statement &rows) {
  const auto number = [&](int column) { return rows.getColumn(column).getInt64(); };
  return {.what = number(1),
          .client = number(2),
          .site = number(3),
          .rule = number(4),
          .address = number(5),
          .page = number(6)};
}

std::vector<std::int64_t> Sorted(const Numbers &numbers) {
  std::vector<std::int64_t> values(numbers.begin(), numbers.end());
  std::ranges::sort(values);
  return values;
}

}  // namespace

EventWalk::EventWalk(SQLite::Database &database, const Matcher &matcher)
    : database_(database), matcher_(matcher) {}

bool EventWalk::Passes(const RowNumbers &row, std::int64_t key) const {
  return matcher_.Passes(row) &&
         (!matcher_.Text() || matcher_.HasText(row) || with_id_.contains(key));
}

void EventWalk::FindIds(KeyRange range) {
  with_id_.clear();
  if (!matcher_.Text()) return;
  SQLite::Statement rows(database_,
                         "SELECT key FROM events WHERE id = ?1 AND key >= ?2 AND key < ?3");
  BindId(rows, 1, matcher_.Text()->id);
  rows.bind(2, range.first);
  rows.bind(3, range.end);
  while (rows.executeStep()) with_id_.insert(rows.getColumn(0).getInt64());
}

std::vector<std::vector<Way>> EventWalk::Parts() const {
  std::vector<std::vector<Way>> parts;
  const auto add = [&](const char *column, const std::optional<Numbers> &numbers) {
    if (numbers) parts.push_back({{column, Sorted(*numbers)}});
  };
  add("client", matcher_.Clients());
  add("rule", matcher_.Rules());
  add("site", matcher_.Sites());
  add("what", matcher_.Whats());
  if (const auto &text = matcher_.Text()) {
    parts.push_back({{"address", Sorted(text->addresses)},
                     {"page", Sorted(text->addresses)},
                     {"rule", Sorted(text->rules)},
                     {"client", Sorted(text->clients)},
                     {"key", {with_id_.begin(), with_id_.end()}}});
  }
  return parts;
}

std::size_t EventWalk::Weigh(const std::vector<Way> &ways, KeyRange range, std::size_t most) {
  std::size_t weight = 0;
  for (const Way &way : ways) {
    SQLite::Statement count(
        database_, std::string("SELECT count(*) FROM (SELECT 1 FROM events WHERE ") + way.column +
                       " = ? AND key >= ? AND key < ? LIMIT ?)");
    for (const std::int64_t value : way.values) {
      if (weight >= most) return weight;
      count.reset();
      count.bind(1, value);
      count.bind(2, range.first);
      count.bind(3, range.end);
      count.bind(4, static_cast<std::int64_t>(most - weight));
      count.executeStep();
      weight += static_cast<std::size_t>(count.getColumn(0).getInt64()) + 1;
    }
  }
  return weight;
}

std::vector<Way> EventWalk::BestWays(KeyRange range) {
  std::vector<std::vector<Way>> parts = Parts();
  std::vector<Way> best;
  std::size_t least = MOST_WEIGHED;
  for (std::vector<Way> &part : parts) {
    const std::size_t weight = Weigh(part, range, least);
    if (!best.empty() && weight >= least) continue;
    least = weight;
    best = std::move(part);
  }
  return best;
}

std::vector<std::int64_t> EventWalk::Newest(KeyRange range, std::size_t most) {
  FindIds(range);
  Found found;
  SQLite::Statement newest(
      database_, std::string(COLUMNS) + " WHERE key >= ? AND key < ? ORDER BY key DESC LIMIT ?");
  newest.bind(1, range.first);
  newest.bind(2, range.end);
  newest.bind(3, MOST_LOOKED_AT);
  int looked_at = 0;
  for (; found.size() < most && newest.executeStep(); ++looked_at) {
    range.end = newest.getColumn(0).getInt64();
    if (Passes(RowOf(newest), range.end)) found.insert(range.end);
  }
  if (found.size() < most && looked_at == MOST_LOOKED_AT) {
    for (const Way &way : BestWays(range)) {
      SQLite::Statement rows(database_, std::string(COLUMNS) + " WHERE " + way.column +
                                            " = ? AND key >= ? AND key < ? ORDER BY key DESC");
      for (const std::int64_t value : way.values) {
        rows.reset();
        rows.bind(1, value);
        rows.bind(2, range.first);
        rows.bind(3, range.end);
        while (rows.executeStep()) {
          const std::int64_t key = rows.getColumn(0).getInt64();
          if (found.size() == most && key <= *found.rbegin()) break;
          if (!Passes(RowOf(rows), key)) continue;
          found.insert(key);
          if (found.size() > most) found.erase(std::prev(found.end()));
        }
      }
    }
  }
  return {found.begin(), found.end()};
}

void EventWalk::All(KeyRange range, const OnRow &on_row) {
  FindIds(range);
  const std::vector<Way> ways = BestWays(range);
  Numbers seen;
  const auto take = [&](SQLite::Statement &rows) {
    while (rows.executeStep()) {
      const std::int64_t key = rows.getColumn(0).getInt64();
      const RowNumbers row = RowOf(rows);
      if (!Passes(row, key)) continue;
      // Several ways may lead to one event.
      if (ways.size() > 1 && !seen.insert(key).second) continue;
      on_row(key, row, rows.getColumn(7).getInt64(), rows.getColumn(8).getInt64());
    }
  };
  if (ways.empty()) {
    SQLite::Statement rows(database_, std::string(COLUMNS) + " WHERE key >= ? AND key < ?");
    rows.bind(1, range.first);
    rows.bind(2, range.end);
    take(rows);
  }
  for (const Way &way : ways) {
    SQLite::Statement rows(
        database_, std::string(COLUMNS) + " WHERE " + way.column + " = ? AND key >= ? AND key < ?");
    for (const std::int64_t value : way.values) {
      rows.reset();
      rows.bind(1, value);
      rows.bind(2, range.first);
      rows.bind(3, range.end);
      take(rows);
    }
  }
}

}  // namespace velmora::store
