#include "store/columns.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <sqlite3.h>

#include "store/event_rows.h"
#include "store/rows.h"

namespace velmora::store {
namespace {

/// Of a segment at most: it stays in the processor's cache.
constexpr std::size_t EVENTS = 16'384;
/// So many make one: fewer are looked at one by one in no time.
constexpr std::size_t FEWEST = 4'096;
constexpr std::size_t HEAD = sizeof(std::int64_t) + 1;

template <class Number>
void PackAs(std::span<const std::int64_t> values, std::uint64_t least, std::string &bytes) {
  const std::size_t begin = bytes.size();
  bytes.resize(begin + values.size() * sizeof(Number));
  char *place = bytes.data() + begin;
  for (const std::int64_t value : values) {
    const auto above = static_cast<Number>(static_cast<std::uint64_t>(value) - least);
    std::memcpy(place, &above, sizeof above);
    place += sizeof above;
  }
}

template <class Number>
void UnpackAs(const char *bytes, std::uint64_t least, Values &values) {
  for (std::int64_t &value : values) {
    Number above;
    std::memcpy(&above, bytes, sizeof above);
    bytes += sizeof above;
    value = static_cast<std::int64_t>(least + above);
  }
}

void PackNone(std::span<const std::int64_t> /*values*/, std::uint64_t /*least*/,
              std::string & /*bytes*/) {}
void UnpackNone(const char * /*bytes*/, std::uint64_t least, Values &values) {
  std::ranges::fill(values, static_cast<std::int64_t>(least));
}

/// How much numbers may be above the least one, and in how many bytes that stands.
struct Width {
  std::uint64_t most;
  std::size_t bytes;
  void (*pack)(std::span<const std::int64_t> values, std::uint64_t least, std::string &bytes);
  void (*unpack)(const char *bytes, std::uint64_t least, Values &values);
};
template <class Number>
constexpr Width WIDTH_OF{std::numeric_limits<Number>::max(), sizeof(Number), PackAs<Number>,
                         UnpackAs<Number>};

/// The narrowest first.
constexpr Width WIDTHS[] = {{0, 0, PackNone, UnpackNone},
                            WIDTH_OF<std::uint8_t>,
                            WIDTH_OF<std::uint16_t>,
                            WIDTH_OF<std::uint32_t>,
                            WIDTH_OF<std::uint64_t>};

/// A segment's column in the table.
std::int64_t PlaceOf(std::int64_t segment, std::size_t column) noexcept {
  constexpr std::int64_t MOST_COLUMNS = 16;
  return segment * MOST_COLUMNS + static_cast<std::int64_t>(column);
}

void WriteColumns(SQLite::Database &database, std::int64_t segment,
                  std::span<const ColumnRow> rows) {
  SQLite::Statement write(database, "INSERT INTO columns (place, data) VALUES (?, ?)");
  Values values(rows.size());
  for (std::size_t column = 0; column < COLUMNS; ++column) {
    for (std::size_t i = 0; i < rows.size(); ++i) values[i] = rows[i][column];
    const std::string bytes = Pack(values);
    write.reset();
    write.bind(1, PlaceOf(segment, column));
    write.bindNoCopy(2, bytes.data(), static_cast<int>(bytes.size()));
    write.exec();
  }
}

void WriteSegment(SQLite::Database &database, std::span<ColumnRow> rows) {
  Rows write(database, "INSERT INTO segments (first, last, count) VALUES (?, ?, ?)");
  write.Begin(At(rows.front(), Column::KEY), At(rows.back(), Column::KEY),
              static_cast<std::int64_t>(rows.size()));
  write.Next();
  WriteColumns(database, database.getLastInsertRowid(), rows);
}

void WriteSegments(SQLite::Database &database, std::vector<ColumnRow> &rows) {
  std::ranges::sort(rows);
  for (std::span<ColumnRow> rest = rows; !rest.empty();) {
    const std::size_t size = std::min(rest.size(), EVENTS);
    WriteSegment(database, rest.first(size));
    rest = rest.subspan(size);
  }
}

void DropSegment(SQLite::Database &database, std::int64_t segment) {
  Rows columns(database, "DELETE FROM columns WHERE place BETWEEN ? AND ?");
  columns.Begin(PlaceOf(segment, 0), PlaceOf(segment, COLUMNS - 1));
  columns.Next();
  Rows itself(database, "DELETE FROM segments WHERE number = ?");
  itself.Begin(segment);
  itself.Next();
}

}  // namespace

std::string Pack(std::span<const std::int64_t> values) {
  const auto [least, most] = std::ranges::minmax_element(values);
  const std::int64_t base = values.empty() ? 0 : *least;
  const auto begin = static_cast<std::uint64_t>(base);
  const std::uint64_t span = values.empty() ? 0 : static_cast<std::uint64_t>(*most) - begin;
  std::string bytes(reinterpret_cast<const char *>(&base), sizeof base);
  const Width &width = *std::ranges::lower_bound(WIDTHS, span, {}, &Width::most);
  bytes += static_cast<char>(width.bytes);
  width.pack(values, begin, bytes);
  return bytes;
}

void Unpack(std::string_view bytes, std::size_t count, Values &values) {
  const std::size_t width = bytes.size() < HEAD ? 0 : static_cast<unsigned char>(bytes[HEAD - 1]);
  if (bytes.size() < HEAD || bytes.size() - HEAD != width * count) {
    throw SQLite::Exception("a column that is not whole", SQLITE_CORRUPT);
  }
  const auto *const found = std::ranges::find(WIDTHS, width, &Width::bytes);
  if (found == std::end(WIDTHS)) throw SQLite::Exception("a column of no width", SQLITE_CORRUPT);
  std::uint64_t least;
  std::memcpy(&least, bytes.data(), sizeof least);
  values.resize(count);
  found->unpack(bytes.data() + HEAD, least, values);
}

Segment::Segment(SQLite::Database &database)
    : read_(database, "SELECT data FROM columns WHERE place = ?") {}

void Segment::Use(std::int64_t number, std::int64_t first, std::int64_t last, std::size_t size) {
  if (size > EVENTS) throw SQLite::Exception("a segment that is too large", SQLITE_CORRUPT);
  number_ = number;
  first_ = first;
  last_ = last;
  size_ = size;
  is_read_.fill(false);
}

void Segment::UseRecent(SQLite::Database &database) {
  Use(0, 0, 0, 0);
  for (Values &values : values_) values.clear();
  is_read_.fill(true);
  SQLite::Statement rows(database,
                         "SELECT key, what, client, site, rule, address, page, id, bytes, number "
                         "FROM recent JOIN events USING (key) ORDER BY key");
  while (rows.executeStep()) {
    for (std::size_t column = 0; column < COLUMNS; ++column) {
      const SQLite::Column value = rows.getColumn(static_cast<int>(column));
      values_[column].push_back(column == static_cast<std::size_t>(Column::ID)
                                    ? NumberOfId(value.isNull() ? std::string() : IdOf(value))
                                    : value.getInt64());
    }
  }
  const Values &keys = values_[static_cast<std::size_t>(Column::KEY)];
  size_ = keys.size();
  if (keys.empty()) return;
  first_ = keys.front();
  last_ = keys.back();
}

const Values &Segment::operator[](Column column) {
  const auto place = static_cast<std::size_t>(column);
  Values &values = values_[place];
  if (is_read_[place]) return values;
  read_.reset();
  read_.bind(1, PlaceOf(number_, place));
  if (!read_.executeStep()) throw SQLite::Exception("a column that is missing", SQLITE_CORRUPT);
  const SQLite::Column data = read_.getColumn(0);
  const auto *const bytes = static_cast<const char *>(data.getBlob());
  Unpack({bytes, static_cast<std::size_t>(data.getBytes())}, size_, values);
  is_read_[place] = true;
  return values;
}

void Segment::AddTo(std::vector<ColumnRow> &rows) {
  for (std::size_t i = 0; i < size_; ++i) {
    ColumnRow &row = rows.emplace_back();
    for (std::size_t column = 0; column < COLUMNS; ++column) {
      row[column] = (*this)[static_cast<Column>(column)][i];
    }
  }
}

Segments::Segments(SQLite::Database &database)
    : database_(database),
      list_(database,
            "SELECT number, first, last, count FROM segments WHERE last >= ? AND first < ? "
            "ORDER BY last DESC"),
      segment_(database) {}

SegmentWriter::SegmentWriter(SQLite::Database &database) : database_(database) {}

void SegmentWriter::TakeRecent() {
  Segment recent(database_);
  recent.UseRecent(database_);
  recent.AddTo(rows_);
  database_.exec("DELETE FROM recent");
}

void SegmentWriter::Finish() {
  const auto recent =
      static_cast<std::size_t>(database_.execAndGet("SELECT count(*) FROM recent").getInt64());
  if (recent + rows_.size() >= FEWEST) {
    TakeRecent();
    WriteSegments(database_, rows_);
  } else {
    Rows keep(database_, "INSERT INTO recent (key) VALUES (?)");
    for (ColumnRow &row : rows_) {
      keep.Begin(At(row, Column::KEY));
      keep.Next();
    }
  }
  rows_.clear();
}

void DropBefore(SQLite::Database &database, std::int64_t key) {
  Rows recent(database, "DELETE FROM recent WHERE key < ?");
  recent.Begin(key);
  recent.Next();
  std::vector<std::int64_t> dropped;
  // What is to stay of a segment that begins earlier.
  std::vector<ColumnRow> rest;
  Segments(database).ForEach({ALL_KEYS.first, key}, [&](Segment &segment) {
    if (segment.Number() == 0) return true;
    dropped.push_back(segment.Number());
    if (segment.Last() >= key) segment.AddTo(rest);
    return true;
  });
  for (const std::int64_t segment : dropped) DropSegment(database, segment);
  std::erase_if(rest, [&](ColumnRow &row) { return At(row, Column::KEY) < key; });
  WriteSegments(database, rest);
}

}  // namespace velmora::store
