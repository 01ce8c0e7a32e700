#include "store/retention.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "store/columns.h"
#include "store/event_rows.h"
#include "store/number_set.h"
#include "store/rows.h"
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

/// Drops what no event names any more; of the other kinds of texts sums tell.
void DropAddresses(SQLite::Database &database) {
  NumberSet used;
  Segments(database).ForEach(ALL_KEYS, [&](Segment &segment) {
    for (const Column column : {Column::ADDRESS, Column::PAGE}) {
      for (const std::int64_t number : segment[column]) used.Insert(number);
    }
    return true;
  });
  std::vector<std::int64_t> unused;
  Rows all(database, "SELECT id FROM texts WHERE kind = ?");
  all.Begin(static_cast<std::int64_t>(TextKind::ADDRESS));
  while (all.Next()) {
    if (!used.Contains(all[0])) unused.push_back(all[0]);
  }
  Rows drop(database, "DELETE FROM texts WHERE id = ?");
  for (const std::int64_t number : unused) {
    drop.Begin(number);
    drop.Next();
  }
}

void DropEvents(SQLite::Database &database, Time oldest) {
  {
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    DropBefore(database, KeyOf(oldest));
    DropAddresses(database);
    RemakeTextBlocks(database);
    transaction.commit();
  }
  // Nothing finds them any more, and where this ends early it is gone on with the next time.
  Repeat(
      database,
      "DELETE FROM events WHERE key IN (SELECT key FROM events WHERE key < ? ORDER BY key LIMIT " +
          std::to_string(ROWS) + ")",
      KeyOf(oldest));
}

void DropSums(SQLite::Database &database, Time oldest) {
  SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
  int dropped = 0;
  for (const char *const table : {"hour_sums", "client_sums", "site_sums", "rule_sums",
                                  "client_days", "site_days", "rule_days"}) {
    SQLite::Statement old(database, std::string("DELETE FROM ") + table + " WHERE hour < ?");
    old.bind(1, Seconds(oldest));
    dropped += old.exec();
  }
  const auto drop_texts = [&](TextKind kind, const std::string &table, const std::string &column) {
    dropped +=
        database.exec("DELETE FROM texts WHERE kind = " + std::to_string(static_cast<int>(kind)) +
                      " AND id NOT IN (SELECT " + column + " FROM " + table + ")");
  };
  if (dropped != 0) {
    drop_texts(TextKind::CLIENT, "client_sums", "client");
    drop_texts(TextKind::SITE, "site_sums", "site");
    drop_texts(TextKind::RULE, "rule_sums", "rule");
    RemakeTextBlocks(database);
  }
  database.exec("DELETE FROM logs WHERE fed < unixepoch() - 35000000");
  transaction.commit();
}

bool HasBefore(SQLite::Database &database, const char *sql, std::int64_t limit) {
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
  if (HasBefore(database, "SELECT min(hour) FROM hour_sums", Seconds(sums))) {
    DropSums(database, sums);
    has_dropped = true;
  }
  // What was dropped is not to stand in what was written on the way either, unless a reader needs
  // it.
  if (has_dropped) database.exec("PRAGMA wal_checkpoint(TRUNCATE)");
}

}  // namespace velmora::store
