// Requests judged before they leave: the one question that an adapter asks about each.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/policy/filtering.h"
#include "host/requests/blocked_answer.h"
#include "host/requests/request_head.h"
#include "host/requests/request_kind.h"
#include "host/requests/safe_search.h"

namespace velmora::host {

/// What is to become of a request, and why.
struct RequestVerdict {
  bool is_blocked = false;
  /// It is blocked because its site is in a category of the policy's, which outlives this; null: by
  /// a list.
  const SiteCategory *category = nullptr;
  /// The rule of a list, or the site that is blocked; and where it stands.
  std::string rule{};
  std::string list{};
  std::uint32_t line = 0;
  /// Of one that is made.
  std::optional<RequestChange> change{};
};

/// The policy of the page that asks decides, or the request's own where that is not known; a site
/// on the allow list can be asked for from anywhere. What is decided about a site itself, its
/// category and safe search, its own policy decides. An encrypted tunnel is blocked only where all
/// is that could come through it.
RequestVerdict VerdictOn(const Policy &policy, const Plugin &plugin, const RequestHead &request,
                         const RequestKind &kind);

/// What an adapter does with a request.
struct RequestDecision {
  /// To give in the request's place; none when it is to be made.
  std::optional<BlockedAnswer> answer{};
  /// To change in one that is made; none: it goes as it came.
  std::optional<RequestChange> change{};
};

/// The same, with what there is to answer and to note: buttons that were pressed are obeyed, who
/// checks its trust is answered, what is blocked is logged.
RequestDecision JudgeRequest(const Filtering &filtering, const RequestHead &request);

}  // namespace velmora::host
