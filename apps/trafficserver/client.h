// Who asks for what.
#pragma once

#include <string>
#include <ts/ts.h>

#include "host/policy/policy.h"

namespace velmora::trafficserver {

/// What is known of who asks, empty where it is not; of a request within a tunnel that is looked
/// into, who asked for the tunnel.
struct Who {
  /// An IP address.
  std::string client{};
  /// As other plug-ins say, in the headers "@Velmora-User" and "@Velmora-Groups" of the request.
  /// Headers of such names are Traffic Server's own: it takes none from outside, and sends none
  /// out.
  std::string user{};
  std::string groups{};

  /// Its texts lie in this.
  host::Asker Get() const noexcept { return {.client = client, .user = user, .groups = groups}; }
};

/// Users and groups are asked for where the policy has some.
Who WhoAsks(TSHttpTxn transaction, const host::Policy &policy);
/// What is asked for, absolute; empty when it is not known.
std::string Url(TSHttpTxn transaction);

}  // namespace velmora::trafficserver
