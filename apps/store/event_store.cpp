#include "store/event_store.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <algorithm>
#include <system_error>

#include "store/columns.h"
#include "store/database.h"
#include "store/event_rows.h"
#include "store/event_walk.h"
#include "store/sum_tables.h"
#include "store/sums.h"

namespace velmora::store {
namespace {

constexpr char EVENT[] = R"(
  SELECT key, what, client.text, site.text, rule.text, address.text, page.text, events.id,
    response, query, page_query, pid, number, bytes, offset, item, type, detail, judged, reason
  FROM events
    LEFT JOIN texts AS client ON client.id = events.client
    LEFT JOIN texts AS site ON site.id = events.site
    LEFT JOIN texts AS rule ON rule.id = events.rule
    LEFT JOIN texts AS address ON address.id = events.address
    LEFT JOIN texts AS page ON page.id = events.page
  WHERE key = ?)";

StoredEvent EventOf(const SQLite::Statement &row) {
  const auto text = [&](int column) { return row.getColumn(column).getString(); };
  const auto number = [&](int column) { return row.getColumn(column).getInt64(); };
  StoredEvent stored{.key = number(0), .site = text(3)};
  host::Event &event = stored.event;
  const std::int64_t what = number(1);
  event.kind = KindOf(what);
  event.time = TimeOf(stored.key);
  event.client = text(2);
  event.url = text(5) + text(9);
  event.page = text(6) + text(10);
  if (!row.isColumnNull(7)) event.id = IdOf(row.getColumn(7));
  if (!row.isColumnNull(8)) event.response = IdOf(row.getColumn(8));
  event.pid = static_cast<std::int32_t>(number(11));
  event.saved = number(13);
  if (!row.isColumnNull(14)) event.offset = static_cast<std::uint64_t>(number(14) - 1);
  event.item = text(15);
  event.type = text(16);
  event.detail = text(17);
  event.address = text(18);
  event.reason = text(19);
  if (!row.isColumnNull(4)) {
    const std::string rule = text(4);
    event.detail = std::string("\"").append(RuleOf(rule)).append("\"");
    event.list = ListOf(rule);
  }
  switch (event.kind) {
    case host::EventKind::BLOCKED:
      event.category = static_cast<std::int32_t>(what);
      break;
    case host::EventKind::FILTERED:
      event.items = static_cast<std::uint64_t>(number(12));
      break;
    case host::EventKind::DROPPED:
      event.count = static_cast<std::uint64_t>(number(12));
      break;
    default:
      event.category = static_cast<std::int32_t>(number(12));
      break;
  }
  return stored;
}

}  // namespace

struct EventStore::Parts {
  std::filesystem::path file;
  SQLite::Database database;

  /// Asks within one state of the database, and says what is wrong with it as this store does.
  template <class Function>
  auto Ask(Function function) {
    try {
      const SQLite::Transaction state(database);
      return function();
    } catch (const SQLite::Exception &error) {
      if (IsDamage(error)) throw DamagedStore(file.string() + ": " + error.what());
      throw std::system_error(std::make_error_code(std::errc::io_error),
                              file.string() + ": " + error.what());
    }
  }
};

EventStore::EventStore(const std::filesystem::path &file)
    : parts_(new Parts{file, OpenToRead(file)}) {}
EventStore::EventStore(EventStore &&) noexcept = default;
EventStore &EventStore::operator=(EventStore &&) noexcept = default;
EventStore::~EventStore() = default;

EventPage EventStore::Events(const Filter &filter, std::size_t most,
                             std::optional<std::int64_t> before) const {
  return parts_->Ask([&] {
    KeyRange range = ALL_KEYS;
    if (filter.from) range.first = KeyOf(*filter.from);
    if (filter.until) range.end = KeyOf(*filter.until);
    if (before) range.end = std::min(range.end, *before);
    SQLite::Database &database = parts_->database;
    std::vector<std::int64_t> keys = EventWalk(database, filter).Newest(range, most + 1);
    EventPage page{.is_more = keys.size() > most};
    if (page.is_more) keys.pop_back();
    SQLite::Statement row(database, EVENT);
    for (const std::int64_t key : keys) {
      row.reset();
      row.bind(1, key);
      if (row.executeStep()) page.events.push_back(EventOf(row));
    }
    return page;
  });
}

std::optional<StoredEvent> EventStore::Find(std::int64_t key) const {
  return parts_->Ask([&]() -> std::optional<StoredEvent> {
    SQLite::Statement row(parts_->database, EVENT);
    row.bind(1, key);
    if (!row.executeStep()) return std::nullopt;
    return EventOf(row);
  });
}

std::vector<Sum> EventStore::Sums(Dimension by, const Filter &filter, std::size_t most) const {
  return parts_->Ask([&] { return SumsOf(parts_->database, by, filter, most); });
}

Counts EventStore::Total(const Filter &filter) const {
  return parts_->Ask([&] { return TotalOf(parts_->database, filter); });
}

std::optional<std::pair<Time, Time>> EventStore::Period() const {
  return parts_->Ask([&]() -> std::optional<std::pair<Time, Time>> {
    const std::string table = SUM_TABLES[0].hours;
    SQLite::Statement hours(parts_->database, "SELECT (SELECT min(hour) FROM " + table +
                                                  "), (SELECT max(hour) FROM " + table + ")");
    if (!hours.executeStep() || hours.isColumnNull(0)) return std::nullopt;
    Time first{std::chrono::seconds(hours.getColumn(0).getInt64())};
    Time last{std::chrono::seconds(hours.getColumn(1).getInt64())};
    // Where single events are kept, to the moment.
    SQLite::Statement keys(parts_->database,
                           "SELECT (SELECT min(key) FROM events), (SELECT max(key) FROM events)");
    if (keys.executeStep() && !keys.isColumnNull(0)) {
      const Time first_event = TimeOf(keys.getColumn(0).getInt64());
      if (first_event < first + std::chrono::hours(1)) first = first_event;
      last = std::max(last, TimeOf(keys.getColumn(1).getInt64()));
    }
    return std::pair(first, last);
  });
}

}  // namespace velmora::store
