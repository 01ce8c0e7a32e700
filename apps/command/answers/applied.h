// What of a policy applies to a URL and a client.
#pragma once

#include <string>

#include "command/answers/sheet.h"
#include "host/policy/policy.h"

namespace velmora::command {

/// Both may be empty: any site, a client that is not known.
Sheet Applied(const host::Policy &policy, const std::string &url, const std::string &client);

}  // namespace velmora::command
