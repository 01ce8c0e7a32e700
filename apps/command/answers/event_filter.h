// EventFilter: which events of a log are looked at.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/bodies/categories.h"
#include "host/events/event.h"
#include "host/web/client_network.h"
#include "host/web/host_set.h"

namespace velmora::command {

/// A part that holds nothing lets every event through. Those that tell of no client, site or
/// category do not pass a part that asks for some.
struct EventFilter {
  std::vector<host::ClientNetwork> clients{};
  host::HostSet sites{};
  std::optional<host::CategorySet> categories{};
  std::optional<std::chrono::system_clock::time_point> since{};
  /// The first moment that is not looked at any more.
  std::optional<std::chrono::system_clock::time_point> until{};

  bool Passes(const host::Event &event) const;
};

/// "30s", "90min", "24h", "7d"; none for another text.
std::optional<std::chrono::seconds> ParseSpan(std::string_view text);

/// "2026-03-01", "2026-03-01 12:34", "2026-03-01T12:34:56": a moment in local time; "90min", "24h",
/// "7d": so long before `now`. Throws `std::invalid_argument` that says how it is written.
std::chrono::system_clock::time_point ParseMoment(const std::string &text,
                                                  std::chrono::system_clock::time_point now);

}  // namespace velmora::command
