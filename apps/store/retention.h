// How long a store keeps what.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include "store/event_store.h"
#include "store/feeding.h"

namespace velmora::store {

/// The beginning of the first day of which single events are kept.
Time OldestEvent(const FeedOptions &options);

/// Drops events and sums that are too old, and the texts that nothing names any more: a day at a
/// time, so that most calls do nothing.
void DropOld(SQLite::Database &database, const FeedOptions &options);

}  // namespace velmora::store
