// StoreWriter: puts events into the tables of a store, one by one and added up.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/events/event.h"
#include "store/columns.h"
#include "store/event_store.h"
#include "store/texts.h"

namespace velmora::store {

/// Works within a transaction that somebody else begins and ends.
class StoreWriter {
 public:
  /// Single events before `oldest` are only added up.
  StoreWriter(SQLite::Database &database, Time oldest);

  void Add(const host::Event &event);
  /// Writes the sums. Before the transaction's end.
  void Finish();
  /// Nothing of the transaction came about; or others have written since the last one.
  void Forget();

 private:
  /// The numbers of what an event is counted by.
  struct Place {
    std::int64_t hour = 0;
    std::int64_t client = 0;
    std::int64_t site = 0;
    std::int64_t rule = 0;
    std::int64_t what = 0;

    auto operator<=>(const Place &) const = default;
  };
  /// Not `noexcept`, so that maps keep what it answers.
  struct PlaceHash {
    std::size_t operator()(const Place &place) const;
  };
  struct Amount {
    std::int64_t count = 0;
    std::int64_t bytes = 0;
  };
  using Sums = std::unordered_map<Place, Amount, PlaceHash>;
  /// A table of sums: what its rows are told apart by, in the order of its columns.
  struct SumTable {
    SQLite::Statement add;
    /// To the table of the same by the day, where there is one.
    std::optional<SQLite::Statement> add_day;
    std::vector<std::int64_t Place::*> columns;
    Sums sums{};
  };

  static SumTable MakeTable(SQLite::Database &database, const char *column,
                            std::int64_t Place::*member);
  static void Write(SQLite::Statement &add, const std::vector<std::int64_t Place::*> &columns,
                    const Sums &sums);
  void AddRow(const host::Event &event, const Place &place);
  void AddToSums(const host::Event &event, const Place &place);
  /// The highest key from `first` to `last` that there is.
  std::optional<std::int64_t> LastKey(std::int64_t first, std::int64_t last);
  std::int64_t FreeKey(Time time);
  std::int64_t Hour(Time time);

  SQLite::Database &database_;
  Texts texts_;
  SegmentWriter segments_;
  const std::int64_t oldest_;
  SQLite::Statement insert_;
  SQLite::Statement last_key_;
  std::vector<SumTable> tables_;
  /// By the first key of a millisecond, the last one that is taken.
  std::unordered_map<std::int64_t, std::int64_t> last_keys_;
  /// All keys above this one are free.
  std::optional<std::int64_t> highest_;
  std::int64_t hour_ = 0;
};

}  // namespace velmora::store
