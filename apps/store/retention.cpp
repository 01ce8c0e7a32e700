#include "store/retention.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "store/columns.h"
#include "store/event_rows.h"
#include "store/number_set.h"
#include "store/rows.h"
#include "store/sum_tables.h"
#include "store/text_search.h"
#include "store/texts.h"

namespace velmora::store {
namespace {

/// So many rows go at once: feeders come in between.
constexpr int ROWS = 50'000;

Time FirstDay(std::chrono::milliseconds kept) {
  return std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now() - kept);
}

std::int64_t Seconds(Time time) {
  return std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
}

/// Calls a statement until it changes nothing more.
void Repeat(SQLite::Database &database, const std::string &sql, std::int64_t limit) {
  SQLite::Statement statement(database, sql);
  do {
    statement.reset();
    statement.bind(1, limit);
  } while (statement.exec() > 0);
}

/// Drops what is not `used` of some kinds of texts that follow a text. Answers the last one that
/// was looked at; the greatest number at their end.
std::int64_t DropUnused(SQLite::Database &database, const std::string &kinds, const NumberSet &used,
                        std::int64_t after) {
  const std::int64_t end = EndOfTextBlocks(database, after);
  std::vector<std::int64_t> unused;
  Rows all(database, "SELECT id FROM texts WHERE id > ? AND id <= ? AND kind IN (" + kinds + ")");
  all.Begin(after, end);
  while (all.Next()) {
    if (!used.Contains(all[0])) unused.push_back(all[0]);
  }
  Rows drop(database, "DELETE FROM texts WHERE id = ?");
  for (const std::int64_t number : unused) {
    drop.Begin(number);
    drop.Next();
  }
  if (!unused.empty()) RemakeTextBlocks(database, after, end);
  return end;
}

/// Drops the texts of some kinds that nothing names, a few blocks at a time. What is used is asked
/// for again where another feeder has written in between.
void DropTexts(SQLite::Database &database, const std::string &kinds,
               NumberSet (*find_used)(SQLite::Database &database)) {
  NumberSet used;
  std::optional<int> version;
  std::int64_t after = 0;
  while (after != std::numeric_limits<std::int64_t>::max()) {
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    const int now = database.execAndGet("PRAGMA data_version").getInt();
    if (version != now) used = find_used(database);
    version = now;
    after = DropUnused(database, kinds, used, after);
    transaction.commit();
  }
}

NumberSet AddressesOfEvents(SQLite::Database &database) {
  NumberSet used;
  Segments(database).ForEach(ALL_KEYS, [&](Segment &segment) {
    for (const Column column : {Column::ADDRESS, Column::PAGE}) {
      for (const std::int64_t number : segment[column]) used.Insert(number);
    }
    return true;
  });
  return used;
}

/// By the day there are fewer rows.
NumberSet TextsOfSums(SQLite::Database &database) {
  NumberSet used;
  for (const SumTable &table : SUM_TABLES) {
    if (table.column == nullptr) continue;
    Rows rows(database, std::string("SELECT ") + table.column + " FROM " + table.days);
    rows.Begin();
    while (rows.Next()) used.Insert(rows[0]);
  }
  return used;
}

std::string Listed(TextKind kind) {
  return std::to_string(static_cast<int>(kind));
}

void DropEvents(SQLite::Database &database, Time oldest) {
  {
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    DropBefore(database, KeyOf(oldest));
    transaction.commit();
  }
  // Of the other kinds of texts sums tell.
  DropTexts(database, Listed(TextKind::ADDRESS), AddressesOfEvents);
  // Nothing finds them any more. They come last: where this ends early it is gone on with the next
  // time.
  Repeat(
      database,
      "DELETE FROM events WHERE key IN (SELECT key FROM events WHERE key < ? ORDER BY key LIMIT " +
          std::to_string(ROWS) + ")",
      KeyOf(oldest));
}

/// A day at a time.
void DropSumsOf(SQLite::Database &database, const std::string &table, std::int64_t oldest) {
  Repeat(database,
         "DELETE FROM " + table + " WHERE hour < min(?, (SELECT min(hour) FROM " + table +
             ") + 86400)",
         oldest);
}

void DropSums(SQLite::Database &database, Time oldest) {
  std::string kinds;
  // The first one is dropped last, as it tells whether there is something to drop.
  for (const SumTable &table : SUM_TABLES) {
    if (table.column == nullptr) continue;
    for (const char *const name : {table.hours, table.days}) {
      DropSumsOf(database, name, Seconds(oldest));
    }
    kinds += (kinds.empty() ? "" : ", ") + Listed(table.kind);
  }
  DropTexts(database, kinds, TextsOfSums);
  DropSumsOf(database, SUM_TABLES[0].hours, Seconds(oldest));
  database.exec("DELETE FROM logs WHERE fed < unixepoch() - 35000000");
}

bool HasBefore(SQLite::Database &database, const std::string &sql, std::int64_t limit) {
  SQLite::Statement first(database, sql);
  return first.executeStep() && !first.isColumnNull(0) && first.getColumn(0).getInt64() < limit;
}

}  // namespace

Time OldestEvent(const host::EventLogOptions &log) {
  return FirstDay(log.keep_events);
}

void DropOld(SQLite::Database &database, const host::EventLogOptions &log) {
  bool has_dropped = false;
  const Time events = OldestEvent(log);
  const Time sums = FirstDay(std::max(log.keep_events, log.keep_sums));
  if (HasBefore(database, "SELECT min(key) FROM events", KeyOf(events))) {
    DropEvents(database, events);
    has_dropped = true;
  }
  if (HasBefore(database, std::string("SELECT min(hour) FROM ") + SUM_TABLES[0].hours,
                Seconds(sums))) {
    DropSums(database, sums);
    has_dropped = true;
  }
  // What was dropped is not to stand in what was written on the way either, unless a reader needs
  // it.
  if (has_dropped) database.exec("PRAGMA wal_checkpoint(TRUNCATE)");
}

}  // namespace velmora::store
