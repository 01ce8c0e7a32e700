// Buttons: what a person can do at a block page, and what is answered to it.
//
// A button posts to a path of the blocked site that the proxy answers itself. What it posts was
// signed when the page was made, for that client and URL; it works once, and not from elsewhere.
#pragma once

#include <optional>

#include "host/policy/filtering.h"
#include "host/requests/block_page.h"
#include "host/requests/blocked_answer.h"
#include "host/requests/request_head.h"
#include "host/requests/request_kind.h"

namespace velmora::host {

/// What the block page of a request has; no button where that may be for a frame, in which one
/// could be led to press it unseen, and none where the policy blocks the site itself (`is_by_site`)
/// and does not let this client through. What keeps buttons from being made goes to the event log.
WaysOn WaysOnFrom(const Filtering &filtering, const RequestHead &request, const RequestKind &kind,
                  bool is_by_site);

/// The answer when a button was pressed; none for any other request.
std::optional<BlockedAnswer> AnswerToButton(const Filtering &filtering, const RequestHead &request);

/// Was this page opened by its button a moment ago? Not twice.
bool IsOpened(const Filtering &filtering, const RequestHead &request, const RequestKind &kind);

}  // namespace velmora::host
