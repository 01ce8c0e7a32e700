// Sums: questions for sums, answered from the tables of sums where one knows, from events
// otherwise.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <vector>

#include "store/event_store.h"

namespace velmora::store {

std::vector<Sum> SumsOf(SQLite::Database &database, Dimension by, const Filter &filter,
                        std::size_t most);
Counts TotalOf(SQLite::Database &database, const Filter &filter);

}  // namespace velmora::store
