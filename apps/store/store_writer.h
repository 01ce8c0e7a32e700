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
#include "store/sum_tables.h"
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
  struct Place {
    std::int64_t hour = 0;
    RowNumbers row{};

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
  /// What is to be added to a table.
  struct Addition {
    const SumTable *table = nullptr;
    Sums sums{};
  };

  /// Adds sums to the rows of the table by the hour, or of that by the day.
  void Write(const SumTable &table, const char *name, const Sums &sums);
  void AddRow(const host::Event &event, const RowNumbers &numbers);
  void AddToSums(const host::Event &event, const RowNumbers &row);
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
  std::vector<Addition> additions_;
  /// By the first key of a millisecond, the last one that is taken.
  std::unordered_map<std::int64_t, std::int64_t> last_keys_;
  /// All keys above this one are free.
  std::optional<std::int64_t> highest_;
  std::int64_t hour_ = 0;
};

}  // namespace velmora::store
