#include "store/store_writer.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "host/web/url.h"
#include "store/event_rows.h"
#include "store/text_search.h"

namespace velmora::store {
namespace {

constexpr char INSERT[] = R"(
  INSERT INTO events (key, what, client, site, rule, address, page, id, response, query, page_query,
    pid, number, bytes, offset, item, type, detail, judged, reason)
  VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?))";

/// Binds one value after the other; what is nothing as nothing.
class Binder {
 public:
  explicit Binder(SQLite::Statement &statement) : statement_(statement) {}

  void Number(std::int64_t number) { statement_.bind(place_++, number); }
  void NumberOrNone(std::int64_t number) {
    number == 0 ? statement_.bind(place_++) : statement_.bind(place_++, number);
  }
  void Text(const std::string &text) {
    text.empty() ? statement_.bind(place_++) : statement_.bindNoCopy(place_++, text);
  }
  void Id(const std::string &id) { BindId(statement_, place_++, id); }

 private:
  SQLite::Statement &statement_;
  int place_ = 1;
};

std::int64_t NumberOf(const host::Event &event) noexcept {
  switch (event.kind) {
    case host::EventKind::FILTERED:
      return static_cast<std::int64_t>(event.items);
    case host::EventKind::DROPPED:
      return static_cast<std::int64_t>(event.count);
    case host::EventKind::GUARDED:
    case host::EventKind::LEFT_OUT:
      return event.category;
    default:
      return 0;
  }
}

}  // namespace

std::size_t StoreWriter::PlaceHash::operator()(const Place &place) const {
  std::uint64_t mixed = 0;
  const RowNumbers &row = place.row;
  for (const std::int64_t part : {place.hour, row.client, row.site, row.rule, row.what}) {
    mixed = (mixed ^ static_cast<std::uint64_t>(part)) * 0x9E3779B97F4A7C15U;
    mixed ^= mixed >> 29U;
  }
  return static_cast<std::size_t>(mixed);
}

StoreWriter::StoreWriter(SQLite::Database &database, Time oldest)
    : database_(database),
      texts_(database),
      segments_(database),
      oldest_(KeyOf(oldest)),
      insert_(database, INSERT),
      last_key_(database, "SELECT max(key) FROM events WHERE key BETWEEN ? AND ?") {
  for (const SumTable &table : SUM_TABLES) additions_.push_back({&table});
}

void StoreWriter::Add(const host::Event &event) {
  const std::string site = host::HostOfUrl(event.page.empty() ? event.url : event.page);
  const RowNumbers row{
      .client = texts_.Number(TextKind::CLIENT, event.client),
      .site = texts_.Number(TextKind::SITE, site),
      .rule = texts_.Number(TextKind::RULE, RuleText(event)),
      .what = WhatOf(event),
  };
  AddToSums(event, row);
  if (KeyOf(event.time) >= oldest_) AddRow(event, row);
}

void StoreWriter::AddToSums(const host::Event &event, const RowNumbers &row) {
  const std::int64_t hour = Hour(event.time);
  const std::int64_t count =
      event.kind == host::EventKind::DROPPED ? static_cast<std::int64_t>(event.count) : 1;
  for (auto &[table, sums] : additions_) {
    Place place{hour, {.what = row.what}};
    if (table->number != nullptr) place.row.*table->number = row.*table->number;
    Amount &amount = sums[place];
    amount.count += count;
    amount.bytes += event.saved;
  }
}

void StoreWriter::AddRow(const host::Event &event, const RowNumbers &numbers) {
  const SplitAddress url = Split(event.url);
  const SplitAddress page = Split(event.page);
  const std::string query(url.query);
  const std::string page_query(page.query);
  // Where there is a rule, its text says it.
  const std::string detail = numbers.rule == 0 ? event.detail : std::string();
  // In the order of `Column`.
  ColumnRow row = {FreeKey(event.time),
                   numbers.what,
                   numbers.client,
                   numbers.site,
                   numbers.rule,
                   texts_.Number(TextKind::ADDRESS, url.address),
                   texts_.Number(TextKind::ADDRESS, page.address),
                   NumberOfId(event.id),
                   event.saved,
                   NumberOf(event)};
  segments_.Add(row);
  insert_.reset();
  Binder binder(insert_);
  for (const Column column : {Column::KEY, Column::WHAT}) binder.Number(At(row, column));
  for (const Column column :
       {Column::CLIENT, Column::SITE, Column::RULE, Column::ADDRESS, Column::PAGE}) {
    binder.NumberOrNone(At(row, column));
  }
  binder.Id(event.id);
  binder.Id(event.response);
  binder.Text(query);
  binder.Text(page_query);
  binder.NumberOrNone(event.pid);
  binder.NumberOrNone(NumberOf(event));
  binder.NumberOrNone(event.saved);
  // One more than it is, as there is none at 0.
  binder.NumberOrNone(event.offset ? static_cast<std::int64_t>(*event.offset) + 1 : 0);
  binder.Text(event.item);
  binder.Text(event.type);
  binder.Text(detail);
  binder.Text(event.address);
  binder.Text(event.reason);
  insert_.exec();
}

std::optional<std::int64_t> StoreWriter::LastKey(std::int64_t first, std::int64_t last) {
  last_key_.reset();
  last_key_.bind(1, first);
  last_key_.bind(2, last);
  std::optional<std::int64_t> key;
  if (last_key_.executeStep() && !last_key_.isColumnNull(0))
    key = last_key_.getColumn(0).getInt64();
  last_key_.reset();
  return key;
}

std::int64_t StoreWriter::FreeKey(Time time) {
  using Limits = std::numeric_limits<std::int64_t>;
  if (!highest_) highest_ = LastKey(Limits::min(), Limits::max()).value_or(Limits::min());
  for (std::int64_t first = KeyOf(time);; first += KEYS) {
    std::int64_t key = first;
    if (*highest_ >= first) {
      const auto [last, is_new] = last_keys_.try_emplace(first, first - 1);
      if (is_new) last->second = LastKey(first, first + KEYS - 1).value_or(first - 1);
      key = last->second + 1;
      // So many in one millisecond: the next one takes them.
      if (key == first + KEYS) continue;
      last->second = key;
    }
    highest_ = std::max(*highest_, key);
    return key;
  }
}

std::int64_t StoreWriter::Hour(Time time) {
  const std::int64_t second =
      std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
  if (second < hour_ || second >= hour_ + 3600) hour_ = HourOf(time);
  return hour_;
}

void StoreWriter::Write(const SumTable &table, const char *name, const Sums &sums) {
  const bool has_column = table.column != nullptr;
  SQLite::Statement add(
      database_, std::string("INSERT INTO ") + name + " (hour, what, count, bytes" +
                     (has_column ? std::string(", ") + table.column : "") + ") VALUES (?, ?, ?, ?" +
                     (has_column ? ", ?" : "") +
                     ") ON CONFLICT DO UPDATE SET count = count + excluded.count, "
                     "bytes = bytes + excluded.bytes");
  // In the order of the table: what is near each other is written together.
  std::vector<std::pair<Place, Amount>> rows(sums.begin(), sums.end());
  std::ranges::sort(
      rows, {}, [](const auto &row) -> const auto & { return row.first; });
  for (const auto &[place, amount] : rows) {
    add.reset();
    Binder binder(add);
    for (const std::int64_t number : {place.hour, place.row.what, amount.count, amount.bytes}) {
      binder.Number(number);
    }
    if (has_column) binder.Number(place.row.*table.number);
    add.exec();
  }
}

void StoreWriter::Finish() {
  for (auto &[table, sums] : additions_) {
    Write(*table, table->hours, sums);
    if (table->days != nullptr) {
      Sums days;
      for (const auto &[place, amount] : sums) {
        Amount &day = days[{DayOf(place.hour), place.row}];
        day.count += amount.count;
        day.bytes += amount.bytes;
      }
      Write(*table, table->days, days);
    }
    sums.clear();
  }
  segments_.Finish();
  MakeTextBlocks(database_);
  last_keys_.clear();
}

void StoreWriter::Forget() {
  for (Addition &addition : additions_) addition.sums.clear();
  segments_.Forget();
  last_keys_.clear();
  highest_.reset();
  texts_.Forget();
}

}  // namespace velmora::store
