// How long a store keeps what.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include "host/events/event_log.h"
#include "store/event_store.h"

namespace velmora::store {

/// The beginning of the first day of which single events are kept.
Time OldestEvent(const host::EventLogOptions &log);

/// Drops events and sums that are too old, and the texts that nothing names any more: a day at a
/// time, so that most calls do nothing.
void DropOld(SQLite::Database &database, const host::EventLogOptions &log);

}  // namespace velmora::store
