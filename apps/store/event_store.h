// EventStore: questions about what an event log has told, answered from a database beside it.
//
// `Feed` (`feeding.h`) fills the database from the log; this only reads, beside any feeder. Single
// events are kept for some days, sums by the hour for longer, each as the policy says.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/bodies/categories.h"
#include "host/events/event.h"
#include "host/web/client_network.h"
#include "host/web/host_set.h"

namespace velmora::store {

using Time = std::chrono::system_clock::time_point;

/// The database cannot be read: it is none, is damaged, or is of another version. `Feed` makes
/// it anew from the log.
class DamagedStore : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// Which events are asked about. A part that holds nothing lets every event through.
struct Filter {
  /// From this moment on, and before that one. Sums are by the hour: a part of an hour counts
  /// whole.
  std::optional<Time> from{};
  std::optional<Time> until{};
  std::vector<host::ClientNetwork> clients{};
  /// These clients are left out.
  std::vector<host::ClientNetwork> without_clients{};
  /// Pages of these hosts and of their sub-domains.
  host::HostSet sites{};
  /// Blocked items of these.
  std::optional<host::CategorySet> categories{};
  std::vector<host::EventKind> kinds{};
  /// A rule of the ad lists, whole.
  std::string rule{};
  /// Part of an address (up to its "?"), of a rule or of a client, in any letter case; or the whole
  /// id of a block or of a response.
  std::string text{};
};

struct StoredEvent {
  /// Names the event in this store, in the order of time; fits into a double.
  std::int64_t key = 0;
  host::Event event{};
  /// The host of the page that it happened on or for.
  std::string site{};
};

struct EventPage {
  /// The newest first.
  std::vector<StoredEvent> events{};
  /// There are older ones: ask for those before the last one's key.
  bool is_more = false;
};

/// What is counted, of all or of a part.
struct Counts {
  /// Items, requests among them.
  std::uint64_t blocked = 0;
  /// Requests that were not made.
  std::uint64_t requests_saved = 0;
  /// Bodies from which something was taken, and by how many bytes they got shorter.
  std::uint64_t filtered = 0;
  std::int64_t bytes_saved = 0;
  /// Pages that got a script against pop-ups or script errors.
  std::uint64_t guarded = 0;
  /// Bodies whose filtering ended early.
  std::uint64_t stopped = 0;
  std::uint64_t errors = 0;
  /// Events that are missing from the log.
  std::uint64_t missing = 0;

  bool operator==(const Counts &) const = default;
};

void Add(Counts &counts, const Counts &others) noexcept;

/// When the hour of the clock on the wall began that a time lies in.
Time BeginningOfHour(Time time);

enum class Dimension { CLIENT, SITE, CATEGORY, RULE, HOUR };

struct Sum {
  /// The client, the site, the category's name, or the rule; empty where the log has none.
  std::string name{};
  /// Of a rule: the list and its line.
  std::string list{};
  /// Of an hour: when it begins.
  Time hour{};
  Counts counts{};
};

class EventStore {
 public:
  /// Throws `DamagedStore`, and `std::system_error` where there is no such file yet or it cannot be
  /// opened.
  explicit EventStore(const std::filesystem::path &file);
  EventStore(EventStore &&) noexcept;
  EventStore &operator=(EventStore &&) noexcept;
  ~EventStore();

  // Each throws `DamagedStore`. An object is one thread's at a time; make one for each thread, or
  // one for each question: it costs a millisecond.

  /// The newest events, or those before a key.
  EventPage Events(const Filter &filter, std::size_t most = 50,
                   std::optional<std::int64_t> before = std::nullopt) const;
  std::optional<StoredEvent> Find(std::int64_t key) const;

  /// The most blocked first, then by name; hours in their order. `most` of 0 is all of them.
  std::vector<Sum> Sums(Dimension by, const Filter &filter, std::size_t most = 0) const;
  Counts Total(const Filter &filter) const;
  /// The times of the first and the last event that anything is known of.
  std::optional<std::pair<Time, Time>> Period() const;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace velmora::store
