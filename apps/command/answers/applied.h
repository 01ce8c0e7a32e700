// What of a policy applies to a URL and a client.
#pragma once

#include <string>

#include "command/answers/sheet.h"
#include "host/policy/policy.h"

namespace velmora::command {

/// Texts may be empty: a client that is not known, now.
struct WhoAndWhen {
  std::string client{};
  std::string user{};
  /// With commas between them.
  std::string groups{};
  /// "2026-03-02 08:00" or "Mon 08:00".
  std::string at{};
};

/// The URL may be empty: any site. Throws `std::invalid_argument` for another time.
Sheet Applied(const host::Policy &policy, const std::string &url, const WhoAndWhen &who);

}  // namespace velmora::command
