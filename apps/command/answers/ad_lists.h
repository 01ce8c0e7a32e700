// The ad lists that a policy comes to: how old they are and what of them counts; and how those from
// the web are brought up to date.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "command/answers/list_fetching.h"
#include "command/answers/sheet.h"
#include "host/policy/policy.h"

namespace velmora::command {

struct AdLists {
  /// One for each list in force.
  std::vector<Sheet> lists{};
  /// URLs of lists that are not there yet.
  std::vector<std::string> not_fetched{};
  /// In all of them.
  std::size_t rules = 0;
  /// What could not be read, in words.
  std::vector<std::string> problems{};
};

/// Reads them, or what was compiled of them before. Throws what the reader of lists throws.
AdLists AdListsOf(const host::Policy &policy);

struct UpdateOptions {
  FetchOptions fetching{};
  /// Leaves alone what has not expired by its own account.
  bool only_due = false;
};

/// Told of each list, and what became of it.
using OnList = std::function<void(const std::string &url, const std::string &result)>;

/// Fetches those that the policy has a URL for, and has running proxies take them. False when one
/// was not taken. Throws what files throw.
bool UpdateAdLists(const host::Policy &policy, const UpdateOptions &options, const OnList &on_list);

}  // namespace velmora::command
