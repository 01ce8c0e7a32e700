#include "host/responses/filtered_response.h"

#include <utility>

namespace velmora::host {
namespace {

/// Where the events of transactions go when nobody asked for them.
class Unheard final : public TransactionSink {
 public:
  void OnBlocked(const BlockedItem &) noexcept override {}
  void OnStopped(StopReason) noexcept override {}
};
Unheard unheard;

}  // namespace

FilteredResponse::FilteredResponse(std::shared_ptr<const Filtering> filtering, ResponseHead head)
    : filtering_(std::move(filtering)) {
  Count(&WorkerCounters::responses);
  const Policy &policy = filtering_->policy;
  PolicyAnswer answer =
      policy.For({head.url, {.client = head.client, .user = head.user, .groups = head.groups}});
  security_policy_ = policy.SecurityPolicyFor(answer);
  // A part of a body cannot be judged, and its length must not change.
  if (!answer.IsFiltered() || !head.has_body || head.is_asked_for_part) return;
  is_pinned_ = head.is_script_with_cors || filtering_->pinned->Contains(head.url);
  if (filtering_->events) {
    id_ = MakeBlockId();
    events_.emplace(*filtering_->events, std::move(head.client), head.url, id_);
  }
  filter_.emplace(filtering_->plugin->CreateProcessor(),
                  TransactionInfo{.url = std::move(head.url),
                                  .content_type = std::move(head.content_type),
                                  .categories = answer.categories,
                                  .settings = std::move(answer.settings),
                                  .option_block = std::move(answer.option_block),
                                  .requests = filtering_->plugin.get(),
                                  .lists = std::move(answer.lists),
                                  .security_policy = std::move(head.security_policy),
                                  .pinned = filtering_->pinned.get()},
                  ResponseHeaders{.content_encoding = head.content_encoding,
                                  .accept_encoding = head.accept_encoding},
                  events_ ? static_cast<TransactionSink &>(*events_) : unheard, policy.responses);
  if (filter_->State() == StreamState::FAILED) {
    way_ = Way::REFUSED;
    Count(&WorkerCounters::refused);
  } else if (filter_->IsWanted()) {
    way_ = Way::FILTERED;
    Count(&WorkerCounters::filtered);
  } else {
    filter_.reset();
  }
}

}  // namespace velmora::host
