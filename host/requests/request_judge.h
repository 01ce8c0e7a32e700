// Requests judged before they leave: the one question that an adapter asks about each.
#pragma once

#include <optional>

#include "host/policy/filtering.h"
#include "host/requests/blocked_answer.h"
#include "host/requests/request_head.h"

namespace velmora::host {

/// What to answer in the request's place; none when it is to be made. What is blocked is logged.
///
/// The policy of the page that asks decides, or the request's own where that is not known; a site
/// on the allow list can be asked for from anywhere. An encrypted tunnel is blocked only where the
/// lists block all that could come through it.
std::optional<BlockedAnswer> JudgeRequest(const Filtering &filtering, const RequestHead &request);

}  // namespace velmora::host
