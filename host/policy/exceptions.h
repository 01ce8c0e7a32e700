// Exceptions: what somebody allowed while the filter runs, in a file of its own in the policy's
// state folder, a line of JSON each:
//
//   {"time":"2026-03-01T12:34:56.789Z","site":"shop.example","client":"192.168.1.0/24",
//    "until":"2026-03-01T13:34:56.789Z","categories":"requests, ad-elements"}
//
// Without "client" it is for all, without "until" for good, without "categories" for everything.
// "group" is a group of the policy, "site-categories" are categories of its own, in an array.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/bodies/categories.h"
#include "host/web/client_network.h"
#include "host/web/host_set.h"

namespace velmora::host {

struct Exception {
  using Time = std::chrono::system_clock::time_point;

  /// With its sub-domains.
  HostSet site{};
  std::optional<ClientNetwork> client{};
  /// By the name that the policy gives it; empty: whatever group.
  std::string group{};
  std::optional<Time> until{};
  CategorySet categories = CategorySet::All();
  /// The policy's own, by their names.
  std::vector<std::string> site_categories{};

  /// As far as can be told without a policy: not by the group.
  bool AppliesTo(const HostName &asked, const std::optional<ClientAddress> &from, Time now) const;
};

/// Those that have not run out, in the order in which they were made; none when there is no file.
/// Throws `std::runtime_error` with the place of what is wrong.
std::vector<Exception> ReadExceptions(const std::filesystem::path &file);

/// Adds one; the hosts that watch the file take it. Both this and the next leave the file to the
/// folder's owner, who may be another one. Throws `std::system_error`.
void AddException(const std::filesystem::path &file, const Exception &exception);

/// Takes the last one back that has not run out, or the last that `Describe` describes so; none
/// when there is none. Throws what the above do. What others add or take back meanwhile waits, and
/// is kept.
std::optional<Exception> TakeExceptionBack(const std::filesystem::path &file,
                                           std::string_view described = {});

/// "shop.example for 192.168.1.0/24 until 2026-03-01T13:34:56.789Z: everything",
/// "play.example for the group pupils: requests, games"
std::string Describe(const Exception &exception);

}  // namespace velmora::host
