#include "store/event_walk.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string>

namespace velmora::store {
namespace {

/// So many of the newest events are looked at before an index is; fewer, where their texts are.
constexpr int MOST_LOOKED_AT = 20'000;
constexpr int MOST_TEXTS_LOOKED_AT = 1'000;
/// Ways that are longer than this are equal.
constexpr std::size_t MOST_WEIGHED = 200'000;

std::vector<std::int64_t> Sorted(const Numbers &numbers) {
  std::vector<std::int64_t> values(numbers.begin(), numbers.end());
  std::ranges::sort(values);
  return values;
}

}  // namespace

EventWalk::EventWalk(SQLite::Database &database, const Filter &filter)
    : database_(database), matcher_(database, filter) {
  if (!filter.text.empty()) text_.emplace(database, filter.text);
}

Rows EventWalk::Select(const char *column, const char *order) const {
  // The indexes of clients, sites and rules hold all of these columns; no row is read besides.
  std::string sql = "SELECT key, what, client, site, rule, bytes";
  if (text_) sql += ", address, page";
  if (column == nullptr) sql += ", number";
  sql += " FROM events WHERE key >= ? AND key < ?";
  if (column != nullptr) sql += std::string(" AND ") + column + " = ?";
  return {database_, sql + order};
}

bool EventWalk::Passes(const Rows &rows) {
  const RowNumbers numbers = NumbersOf(rows);
  if (!matcher_.Passes(numbers)) return false;
  if (!text_) return true;
  return text_->IsIn(numbers.rule) || text_->IsIn(numbers.client) || text_->IsIn(rows[6]) ||
         text_->IsIn(rows[7]) ||
         std::ranges::find(text_->WithId(), rows[0]) != text_->WithId().end();
}

std::vector<EventWalk::Part> EventWalk::Parts() {
  std::vector<Part> parts;
  const auto add = [&](const char *column, const std::optional<Numbers> &numbers) {
    if (numbers) parts.push_back({{column, Sorted(*numbers)}});
  };
  add("client", matcher_.Clients());
  add("rule", matcher_.Rules());
  add("site", matcher_.Sites());
  add("what", matcher_.Whats());
  if (text_) parts.push_back(text_->Everywhere());
  return parts;
}

std::size_t EventWalk::Weigh(const Part &part, KeyRange range, std::size_t most) {
  std::size_t weight = 0;
  for (const auto &[column, values] : part) {
    Rows count(database_,
               std::string("SELECT count(*) FROM (SELECT 1 FROM events WHERE key >= ? AND key < ? "
                           "AND ") +
                   column + " = ? LIMIT ?)");
    for (const std::int64_t value : values) {
      if (weight >= most) return weight;
      count.Begin(range.first, range.end, value, static_cast<std::int64_t>(most - weight));
      count.Next();
      weight += static_cast<std::size_t>(count[0]) + 1;
    }
  }
  return weight;
}

EventWalk::Part EventWalk::BestPart(KeyRange range) {
  std::vector<Part> parts = Parts();
  if (parts.empty()) return {};
  if (parts.size() == 1) return std::move(parts.front());
  std::size_t best = 0;
  std::size_t least = MOST_WEIGHED;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const std::size_t weight = Weigh(parts[i], range, least);
    if (weight >= least) continue;
    least = weight;
    best = i;
  }
  return std::move(parts[best]);
}

std::vector<std::int64_t> EventWalk::Newest(KeyRange range, std::size_t most) {
  std::set<std::int64_t, std::greater<>> found;
  Rows newest = Select(nullptr, " ORDER BY key DESC");
  newest.Begin(range.first, range.end);
  bool is_more = true;
  const int most_looked_at = text_ ? MOST_TEXTS_LOOKED_AT : MOST_LOOKED_AT;
  for (int looked_at = 0; looked_at < most_looked_at || !HasIndex(); ++looked_at) {
    is_more = found.size() < most && newest.Next();
    if (!is_more) break;
    range.end = newest[0];
    if (Passes(newest)) found.insert(range.end);
  }
  if (!is_more) return {found.begin(), found.end()};
  for (const auto &[column, values] : BestPart(range)) {
    Rows rows = Select(column, " ORDER BY key DESC");
    for (const std::int64_t value : values) {
      rows.Begin(range.first, range.end, value);
      while (rows.Next()) {
        if (found.size() == most && rows[0] <= *found.rbegin()) break;
        if (!Passes(rows)) continue;
        found.insert(rows[0]);
        if (found.size() > most) found.erase(std::prev(found.end()));
      }
    }
  }
  return {found.begin(), found.end()};
}

}  // namespace velmora::store
