// Feeding: brings what an event log has got since the last time into the store beside it.
//
// How far each file of a log was read is kept in the same transaction as what came of it, under the
// file's first line: a log that is rotated, compressed or copied keeps that. So nothing is lost or
// comes twice, whenever a feeder ends and however many there are.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/events/event_log.h"

namespace velmora::store {

struct FedLog {
  std::uint64_t events = 0;
  /// Lines that are none.
  std::uint64_t unreadable = 0;
  /// Of the log's files: those that could not be read, and why.
  std::vector<std::string> troubles{};
  /// The store could not be read and was made anew from the log; why.
  std::string made_anew{};
  /// Somebody else is feeding.
  bool is_busy = false;
};

/// Feeds what is new of the log and of what became of it by rotation ("events.jsonl.1",
/// "events.jsonl.2.gz", "events.jsonl-20260301.gz" beside "events.jsonl"), and drops what is old: a
/// day at a time, single events earlier than sums. What the log says beyond what its options want
/// to be written is left out. Throws `std::system_error` when the log or the store cannot be
/// opened, and `std::runtime_error` when the store cannot be written.
FedLog Feed(const host::EventLogOptions &log);

/// Makes the store anew from the log.
FedLog Rebuild(const host::EventLogOptions &log);

/// Where the store of a log lies: where it says, else beside it, "events.db" for "events.jsonl".
std::filesystem::path StoreOf(const host::EventLogOptions &log);

}  // namespace velmora::store
