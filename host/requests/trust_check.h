// The picture by which a device sees whether it trusts the proxy's authority.
//
// It comes by https from a name that exists nowhere: from a proxy that looks into encrypted
// traffic, to a browser that takes its certificate, and to no other. The page on which devices are
// set up shows it.
#pragma once

#include <optional>

#include "host/requests/blocked_answer.h"
#include "host/requests/request_head.h"

namespace velmora::host {

/// The answer when it is asked for; none for any other request.
std::optional<BlockedAnswer> AnswerToTrustCheck(const RequestHead &request);

}  // namespace velmora::host
