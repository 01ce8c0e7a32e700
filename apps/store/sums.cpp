#include "store/sums.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "store/event_rows.h"
#include "store/event_walk.h"
#include "store/matcher.h"
#include "store/rows.h"

namespace velmora::store {
namespace {

using Groups = std::unordered_map<std::int64_t, Counts>;

/// What rows are told apart by, as bits.
enum Part : unsigned { CLIENT = 1, SITE = 2, RULE = 4, TEXT = 8 };

struct SumTable {
  const char *name;
  unsigned part;
  const char *column = nullptr;
  std::int64_t RowNumbers::*number = nullptr;
};

/// The smallest first.
constexpr SumTable SUM_TABLES[] = {
    {"hour_sums", 0},
    {"client_sums", CLIENT, "client", &RowNumbers::client},
    {"site_sums", SITE, "site", &RowNumbers::site},
    {"rule_sums", RULE, "rule", &RowNumbers::rule},
};

constexpr std::int64_t HOUR = 3600;

/// Whole hours.
struct Hours {
  std::int64_t first = std::numeric_limits<std::int64_t>::min();
  /// The last one that begins before the end.
  std::int64_t last = std::numeric_limits<std::int64_t>::max();

  explicit Hours(const Filter &filter) {
    if (filter.from) first = HourOf(*filter.from);
    if (filter.until) last = HourOf(*filter.until - std::chrono::milliseconds(1));
  }
  KeyRange Keys() const noexcept {
    constexpr std::int64_t KEYS_OF_SECOND = KEYS * 1000;
    constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max() / KEYS_OF_SECOND - HOUR;
    return {std::clamp(first, -MOST, MOST) * KEYS_OF_SECOND,
            (std::clamp(last, -MOST, MOST) + HOUR) * KEYS_OF_SECOND};
  }
};

unsigned PartsOf(const Filter &filter) {
  return (filter.clients.empty() ? 0U : CLIENT) | (filter.sites.IsEmpty() ? 0U : SITE) |
         (filter.rule.empty() ? 0U : RULE) | (filter.text.empty() ? 0U : TEXT);
}

unsigned PartOf(Dimension by) noexcept {
  switch (by) {
    case Dimension::CLIENT:
      return CLIENT;
    case Dimension::SITE:
      return SITE;
    case Dimension::RULE:
      return RULE;
    case Dimension::CATEGORY:
    case Dimension::HOUR:
      return 0;
  }
  return 0;
}

std::int64_t GroupOf(Dimension by, std::int64_t hour, const RowNumbers &row) noexcept {
  switch (by) {
    case Dimension::CLIENT:
      return row.client;
    case Dimension::SITE:
      return row.site;
    case Dimension::RULE:
      return row.rule;
    case Dimension::CATEGORY:
      return row.what;
    case Dimension::HOUR:
      return hour;
  }
  return 0;
}

Groups FromTable(SQLite::Database &database, const SumTable &table, Dimension by,
                 const Hours &hours, const Filter &filter) {
  const Matcher matcher(database, filter);
  Rows rows(database, std::string("SELECT hour, what, count, bytes") +
                          (table.column == nullptr ? "" : std::string(", ") + table.column) +
                          " FROM " + table.name + " WHERE hour >= ? AND hour <= ?");
  rows.Begin(hours.first, hours.last);
  Groups groups;
  while (rows.Next()) {
    RowNumbers row{.what = rows[1]};
    if (table.column != nullptr) row.*table.number = rows[4];
    if (matcher.Passes(row)) Add(groups[GroupOf(by, rows[0], row)], row.what, rows[2], rows[3]);
  }
  return groups;
}

Groups FromEvents(SQLite::Database &database, Dimension by, const Hours &hours,
                  const Filter &filter) {
  Groups groups;
  EventWalk(database, filter).All(hours.Keys(), [&](const WalkedEvent &event) {
    const std::int64_t what = event.numbers.what;
    const bool is_missing = KindOf(what) == host::EventKind::DROPPED;
    const std::int64_t hour = by == Dimension::HOUR ? HourOf(TimeOf(event.key)) : 0;
    Add(groups[GroupOf(by, hour, event.numbers)], what, is_missing ? event.number : 1, event.bytes);
  });
  return groups;
}

Groups GroupsOf(SQLite::Database &database, Dimension by, const Filter &filter) {
  const Hours hours(filter);
  const unsigned parts = PartsOf(filter) | PartOf(by);
  for (const SumTable &table : SUM_TABLES) {
    if ((parts & ~table.part) == 0) return FromTable(database, table, by, hours, filter);
  }
  return FromEvents(database, by, hours, filter);
}

/// Of all clients but some: what all have less what these have.
Groups GroupsWithout(SQLite::Database &database, Dimension by, Filter filter) {
  if (filter.without_clients.empty() || by == Dimension::CLIENT || !filter.clients.empty()) {
    return GroupsOf(database, by, filter);
  }
  Filter others = filter;
  others.clients = std::exchange(filter.without_clients, {});
  others.without_clients.clear();
  Groups groups = GroupsOf(database, by, filter);
  for (const auto &[number, counts] : GroupsOf(database, by, others)) {
    Subtract(groups[number], counts);
  }
  return groups;
}

std::string TextOf(SQLite::Statement &text, std::int64_t number) {
  text.reset();
  text.bind(1, number);
  return text.executeStep() ? text.getColumn(0).getString() : std::string();
}

}  // namespace

std::vector<Sum> SumsOf(SQLite::Database &database, Dimension by, const Filter &filter,
                        std::size_t most) {
  std::vector<std::pair<std::int64_t, Counts>> rows;
  for (const auto &[number, counts] : GroupsWithout(database, by, filter)) {
    // Of categories and rules, what was blocked is meant.
    const bool is_meant = by == Dimension::CATEGORY || by == Dimension::RULE
                              ? counts.blocked != 0 && (by == Dimension::CATEGORY || number != 0)
                              : counts != Counts();
    if (is_meant) rows.emplace_back(number, counts);
  }
  if (by == Dimension::HOUR) {
    std::ranges::sort(rows, {}, [](const auto &row) { return row.first; });
  } else {
    std::ranges::sort(rows, std::greater(), [](const auto &row) { return row.second.blocked; });
    // Names decide which ones of equal count come first: these all stay until they are known.
    while (most != 0 && rows.size() > most &&
           rows.back().second.blocked != rows[most - 1].second.blocked) {
      rows.pop_back();
    }
  }
  SQLite::Statement text(database, "SELECT text FROM texts WHERE id = ?");
  std::vector<Sum> sums;
  for (const auto &[number, counts] : rows) {
    Sum sum{.counts = counts};
    if (by == Dimension::HOUR) {
      sum.hour = Time(std::chrono::seconds(number));
    } else if (by == Dimension::CATEGORY) {
      sum.name = host::NameOfCategory(static_cast<std::int32_t>(number));
      if (sum.name.empty()) sum.name = std::to_string(number);
    } else {
      const std::string known = TextOf(text, number);
      sum.name = by == Dimension::RULE ? RuleOf(known) : known;
      if (by == Dimension::RULE) sum.list = ListOf(known);
    }
    sums.push_back(std::move(sum));
  }
  if (by != Dimension::HOUR) {
    std::ranges::sort(sums, [](const Sum &a, const Sum &b) {
      return a.counts.blocked != b.counts.blocked
                 ? a.counts.blocked > b.counts.blocked
                 : std::tie(a.name, a.list) < std::tie(b.name, b.list);
    });
  }
  if (most != 0 && sums.size() > most) sums.resize(most);
  return sums;
}

Counts TotalOf(SQLite::Database &database, const Filter &filter) {
  Counts total;
  for (const auto &[what, counts] : GroupsWithout(database, Dimension::CATEGORY, filter)) {
    Add(total, counts);
  }
  return total;
}

}  // namespace velmora::store
