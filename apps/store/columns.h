// Columns: what questions look at in single events, packed, so that a question about ten million of
// them reads none of their rows.
//
// A segment is some thousands of events in the order of their keys; several segments may tell of
// the same time. Each column of one is a row of the table `columns`: its least number, the width of
// the others in bytes, and how much each is above the least one.
//
//   8 bytes  the least number, in the order of the machine
//   1 byte   width: 0, 1, 2, 4 or 8
//   width *  number of events
//
// Events that do not make a whole segment yet are in the table `recent`, by their keys.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::store {

/// These numbers stand in databases. An id stands as `NumberOfId`.
enum class Column : std::size_t { KEY, WHAT, CLIENT, SITE, RULE, ADDRESS, PAGE, ID, BYTES, NUMBER };
inline constexpr std::size_t COLUMNS = 10;

/// An event, as columns have it.
using ColumnRow = std::array<std::int64_t, COLUMNS>;
constexpr std::int64_t &At(ColumnRow &row, Column column) noexcept {
  return row[static_cast<std::size_t>(column)];
}

using Values = std::vector<std::int64_t>;

std::string Pack(std::span<const std::int64_t> values);
/// So many numbers. Throws `SQLite::Exception` when the bytes are not those of so many.
void Unpack(std::string_view bytes, std::size_t count, Values &values);

/// Keys from the first one on, and before the last one.
struct KeyRange {
  std::int64_t first = 0;
  std::int64_t end = 0;
};

inline constexpr KeyRange ALL_KEYS{std::numeric_limits<std::int64_t>::min(),
                                   std::numeric_limits<std::int64_t>::max()};

/// Events in the order of their keys. A column is read when it is first asked for.
class Segment {
 public:
  explicit Segment(SQLite::Database &database);

  std::size_t Size() const noexcept { return size_; }
  /// The keys of the first and the last event.
  std::int64_t First() const noexcept { return first_; }
  std::int64_t Last() const noexcept { return last_; }
  const Values &operator[](Column column);
  /// Adds all of its events.
  void AddTo(std::vector<ColumnRow> &rows);
  /// 0: of no segment yet.
  std::int64_t Number() const noexcept { return number_; }

  /// Becomes another one, with these as the first and the last key.
  void Use(std::int64_t number, std::int64_t first, std::int64_t last, std::size_t size);
  /// Becomes that of the events that are in none yet.
  void UseRecent(SQLite::Database &database);

 private:
  SQLite::Statement read_;
  std::int64_t number_ = 0;
  std::int64_t first_ = 0;
  std::int64_t last_ = 0;
  std::size_t size_ = 0;
  std::array<Values, COLUMNS> values_{};
  std::array<bool, COLUMNS> is_read_{};
};

/// All segments of a store.
class Segments {
 public:
  explicit Segments(SQLite::Database &database);

  /// Calls a function with those that may have keys of a range, until it answers false: the events
  /// that are in none first, then those that reach the latest.
  template <class Function>
  void ForEach(KeyRange range, Function function) {
    segment_.UseRecent(database_);
    if (segment_.Size() != 0 && !function(segment_)) return;
    list_.reset();
    list_.bind(1, range.first);
    list_.bind(2, range.end);
    while (list_.executeStep()) {
      segment_.Use(list_.getColumn(0).getInt64(), list_.getColumn(1).getInt64(),
                   list_.getColumn(2).getInt64(), list_.getColumn(3).getUInt());
      if (!function(segment_)) break;
    }
    list_.reset();
  }

 private:
  SQLite::Database &database_;
  SQLite::Statement list_;
  Segment segment_;
};

/// A feeder's: puts events into segments. Works within a transaction that somebody else begins and
/// ends.
class SegmentWriter {
 public:
  explicit SegmentWriter(SQLite::Database &database);

  void Add(const ColumnRow &row) { rows_.push_back(row); }
  /// Writes what was added. Before the transaction's end.
  void Finish();
  /// Nothing of the transaction came about.
  void Forget() noexcept { rows_.clear(); }

 private:
  void TakeRecent();

  SQLite::Database &database_;
  std::vector<ColumnRow> rows_;
};

/// Takes the events before a key out of the segments.
void DropBefore(SQLite::Database &database, std::int64_t key);

}  // namespace velmora::store
