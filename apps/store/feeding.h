// StoreFeeder: brings what an event log has got since the last time into the store beside it.
//
// How far each file of a log was read is kept in the same transaction as what came of it, under the
// file's first line: a log that is rotated, compressed or copied keeps that. So nothing is lost or
// comes twice, whenever a feeder ends and however many there are.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "host/events/event_log.h"
#include "host/web/client_network.h"

namespace velmora::store {

struct FeedOptions {
  /// The log: "events.jsonl", and beside it what became of it by rotation, "events.jsonl.1",
  /// "events.jsonl.2.gz", "events.jsonl-20260301.gz".
  std::filesystem::path log{};
  /// Empty: `StoreBeside(log)`.
  std::filesystem::path store{};
  /// Single events, and sums, that are older are dropped.
  std::chrono::hours keep_events = std::chrono::days(30);
  std::chrono::hours keep_sums = std::chrono::days(400);
  /// As the log is written: what it still says beyond that is left out.
  host::UrlDetail urls = host::UrlDetail::FULL;
  host::ClientDetail clients = host::ClientDetail::FULL;
};

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

/// Feeds what is new, drops what is old. Throws `std::system_error` when the log or the store
/// cannot be opened, and `std::runtime_error` when the store cannot be written.
FedLog Feed(const FeedOptions &options);

/// Makes the store anew from the log; sums of the time before it are kept where they can be read.
FedLog Rebuild(const FeedOptions &options);

}  // namespace velmora::store
