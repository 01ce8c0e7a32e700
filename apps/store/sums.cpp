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
#include "store/sum_tables.h"

namespace velmora::store {
namespace {

/// Counts by a number, of a text or of an hour.
class Groups {
 public:
  Counts &operator[](std::int64_t number) {
    // Events of one hour, and often of one page, follow each other.
    if (last_ != nullptr && number == last_number_) return *last_;
    last_number_ = number;
    last_ = &Find(number);
    return *last_;
  }
  auto begin() const { return groups_.begin(); }
  auto end() const { return groups_.end(); }

 private:
  /// Texts have small numbers: these are found without a search.
  static constexpr std::int64_t SMALL = std::int64_t{1} << 22;

  Counts &Find(std::int64_t number) {
    if (number < 0 || number >= SMALL) return groups_[number];
    const auto place = static_cast<std::size_t>(number);
    if (place >= small_.size()) small_.resize(place + 1);
    if (small_[place] == nullptr) small_[place] = &groups_[number];
    return *small_[place];
  }

  std::unordered_map<std::int64_t, Counts> groups_;
  std::vector<Counts *> small_;
  std::int64_t last_number_ = 0;
  Counts *last_ = nullptr;
};

/// What rows are told apart by, as bits.
constexpr unsigned BitOf(TextKind kind) noexcept {
  return 1U << static_cast<unsigned>(kind);
}
enum Part : unsigned {
  CLIENT = BitOf(TextKind::CLIENT),
  SITE = BitOf(TextKind::SITE),
  RULE = BitOf(TextKind::RULE),
  TEXT = BitOf(TextKind::ADDRESS)
};

unsigned PartsOf(const SumTable &table) noexcept {
  return table.column == nullptr ? 0 : BitOf(table.kind);
}

constexpr std::int64_t HOUR = 3600;

constexpr std::int64_t DAY = 24 * HOUR;
constexpr std::int64_t KEYS_OF_SECOND = KEYS * 1000;

/// The beginnings of hours or of days, from the first one on and before the end.
struct Span {
  std::int64_t first = 0;
  std::int64_t end = 0;
};

/// The hours that a filter takes in, whole ones.
Span HoursOf(const Filter &filter) {
  // What a key can say.
  constexpr std::int64_t MOST =
      std::numeric_limits<std::int64_t>::max() / KEYS_OF_SECOND / DAY * DAY - DAY;
  Span hours{-MOST, MOST};
  if (filter.from) hours.first = HourOf(*filter.from);
  if (filter.until) hours.end = HourOf(*filter.until - std::chrono::milliseconds(1)) + 1;
  return hours;
}

/// The keys of what happened in these hours.
KeyRange KeysOf(const Span &hours) noexcept {
  return {hours.first * KEYS_OF_SECOND, (hours.end - 1 + HOUR) * KEYS_OF_SECOND};
}

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

/// Adds up the rows of a table.
class TableSum {
 public:
  TableSum(SQLite::Database &database, const SumTable &table, Dimension by, const Filter &filter)
      : database_(database), table_(table), by_(by), matcher_(database, filter) {}

  Groups Of(const Span &hours) {
    // Whole days from their own table, what is left of others by the hour.
    const Span days{DayOf(hours.first + DAY - 1), DayOf(hours.end)};
    if (table_.days == nullptr || by_ == Dimension::HOUR || days.first >= days.end) {
      Add(table_.hours, hours);
    } else {
      Add(table_.hours, {hours.first, days.first});
      Add(table_.days, days);
      Add(table_.hours, {days.end, hours.end});
    }
    return std::move(groups_);
  }

 private:
  void Add(const char *name, const Span &span) {
    Rows rows(database_, std::string("SELECT hour, what, count, bytes") +
                             (table_.column == nullptr ? "" : std::string(", ") + table_.column) +
                             " FROM " + name + " WHERE hour >= ? AND hour < ?");
    rows.Begin(span.first, span.end);
    while (rows.Next()) {
      RowNumbers row{.what = rows[1]};
      if (table_.column != nullptr) row.*table_.number = rows[4];
      if (!matcher_.Passes(row)) continue;
      store::Add(groups_[GroupOf(by_, rows[0], row)], row.what, rows[2], rows[3]);
    }
  }

  SQLite::Database &database_;
  const SumTable &table_;
  const Dimension by_;
  const Matcher matcher_;
  Groups groups_;
};

/// The column by whose numbers events are told apart; hours come from the key.
Column ColumnOf(Dimension by) noexcept {
  switch (by) {
    case Dimension::CLIENT:
      return Column::CLIENT;
    case Dimension::SITE:
      return Column::SITE;
    case Dimension::RULE:
      return Column::RULE;
    case Dimension::CATEGORY:
      return Column::WHAT;
    case Dimension::HOUR:
      return Column::KEY;
  }
  return Column::KEY;
}

/// The hours of events that follow each other.
class HourClock {
 public:
  std::int64_t Of(std::int64_t key) {
    const std::int64_t first = hour_ * KEYS_OF_SECOND;
    if (key < first || key >= first + HOUR * KEYS_OF_SECOND) hour_ = HourOf(TimeOf(key));
    return hour_;
  }

 private:
  std::int64_t hour_ = 0;
};

Groups FromEvents(SQLite::Database &database, Dimension by, const Span &hours,
                  const Filter &filter) {
  Groups groups;
  HourClock clock;
  const std::int64_t missing = WhatOf(host::EventKind::DROPPED);
  EventWalk(database, filter)
      .All(KeysOf(hours), [&](Segment &segment, const std::vector<std::uint32_t> &places) {
        const Values &numbers = segment[ColumnOf(by)];
        const Values &whats = segment[Column::WHAT];
        const Values &bytes = segment[Column::BYTES];
        for (const std::uint32_t place : places) {
          const std::int64_t number = numbers[place];
          const std::int64_t what = whats[place];
          const std::int64_t count = what == missing ? segment[Column::NUMBER][place] : 1;
          Add(groups[by == Dimension::HOUR ? clock.Of(number) : number], what, count, bytes[place]);
        }
      });
  return groups;
}

Groups GroupsOf(SQLite::Database &database, Dimension by, const Filter &filter) {
  const Span hours = HoursOf(filter);
  const unsigned parts = PartsOf(filter) | PartOf(by);
  for (const SumTable &table : SUM_TABLES) {
    if ((parts & ~PartsOf(table)) == 0) return TableSum(database, table, by, filter).Of(hours);
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
