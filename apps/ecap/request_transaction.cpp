#include "ecap/request_transaction.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <libecap/common/body.h>
#include <libecap/common/header.h>
#include <libecap/common/message.h>
#include <libecap/common/name.h>
#include <libecap/common/names.h>
#include <libecap/common/registry.h>
#include <libecap/common/version.h>
#include <libecap/host/host.h>
#include <optional>
#include <string_view>
#include <utility>

#include "ecap/request_service.h"
#include "ecap/told_asker.h"
#include "host/requests/request_head.h"
#include "host/requests/request_judge.h"

namespace velmora::ecap {
namespace {

constexpr std::size_t HEADER_COUNT = std::size(host::REQUEST_HEADER_NAMES);

const libecap::Name &NameOf(std::size_t header) {
  static const std::array<libecap::Name, HEADER_COUNT> names = [] {
    std::array<libecap::Name, HEADER_COUNT> made;
    for (std::size_t i = 0; i < HEADER_COUNT; ++i) {
      made[i] = libecap::Name(host::REQUEST_HEADER_NAMES[i]);
    }
    // The proxy knows this one by a number of its own, and finds it sooner.
    made[host::IndexOf(host::RequestHeader::REFERER)] = libecap::headerReferer;
    return made;
  }();
  return names[header];
}

libecap::Area AreaOf(std::string_view text) {
  return libecap::Area::FromTempBuffer(text.data(), text.size());
}

/// What the proxy tells of a request, kept for as long as it is judged.
class Told final : public host::RequestHeaders {
 public:
  Told(libecap::host::Xaction &host, const host::Policy &policy)
      : message_(host.virgin()), asker_(host, policy) {
    if (const auto *line = dynamic_cast<const libecap::RequestLine *>(&message_.firstLine())) {
      url_ = line->uri();
      method_ = line->method();
    }
  }

  host::RequestHead Head() const {
    return {.method = method_.image(),
            .url = {url_.start, url_.size},
            .who = asker_.Get(),
            .has_body = message_.body() != nullptr,
            .headers = *this};
  }

  std::string_view Value(host::RequestHeader header) const override {
    std::optional<libecap::Area> &value = values_[host::IndexOf(header)];
    if (!value) value = message_.header().value(NameOf(host::IndexOf(header)));
    return {value->start, value->size};
  }

 private:
  const libecap::Message &message_;
  libecap::Area url_;
  libecap::Name method_;
  ToldAsker asker_;
  mutable std::array<std::optional<libecap::Area>, HEADER_COUNT> values_;
};

}  // namespace

RequestTransaction::~RequestTransaction() {
  Leave();
}

void RequestTransaction::start() {
  Guarded([this] { Judge(); });
}

void RequestTransaction::Judge() {
  host::RequestDecision decision;
  try {
    if (filtering_ != nullptr) {
      decision = host::JudgeRequest(*filtering_, Told(*host_, filtering_->policy).Head());
    }
  } catch (...) {
    // What cannot be judged goes on.
  }
  if (decision.answer) return Answer(std::move(*decision.answer));
  if (decision.change) return Change(*decision.change);
  LastCall(&libecap::host::Xaction::useVirgin);
}

void RequestTransaction::Change(const host::RequestChange &change) {
  const libecap::shared_ptr<libecap::Message> message = host_->virgin().clone();
  if (auto *const line = dynamic_cast<libecap::RequestLine *>(&message->firstLine());
      line != nullptr && !change.url.empty()) {
    line->uri(AreaOf(change.url));
  }
  if (const auto &[name, value] = change.header; !name.empty()) {
    const libecap::Name header{std::string(name)};
    message->header().removeAny(header);
    message->header().add(header, AreaOf(value));
  }
  if (host_->virgin().body() == nullptr) {
    return LastCall(&libecap::host::Xaction::useAdapted, message);
  }
  passes_body_ = true;
  host_->vbMake();
  host_->useAdapted(message);
}

void RequestTransaction::Answer(host::BlockedAnswer answer) {
  const libecap::Message &request = host_->virgin();
  const auto *const line = dynamic_cast<const libecap::RequestLine *>(&request.firstLine());
  const bool is_head = line != nullptr && line->method() == libecap::methodHead;
  const libecap::shared_ptr<libecap::Message> message = libecap::MyHost().newResponse();
  auto &status = dynamic_cast<libecap::StatusLine &>(message->firstLine());
  status.version(libecap::Version(1, 1, 0));
  status.statusCode(answer.status);
  status.reasonPhrase(AreaOf(answer.reason));
  for (const auto &[name, value] : answer.headers) {
    message->header().add(libecap::Name(std::string(name)), AreaOf(value));
  }
  message->header().add(libecap::headerContentLength, AreaOf(std::to_string(answer.body.size())));
  if (request.body() != nullptr) host_->vbDiscard();
  if (!answer.body.empty() && !is_head) {
    // Only for a request without a body: a client that breaks off what it sends while it is being
    // answered ends the proxy's process.
    message->addBody();
    body_ = std::move(answer.body);
    host_->useAdapted(message);
  } else {
    LastCall(&libecap::host::Xaction::useAdapted, message);
  }
}

void RequestTransaction::Leave() noexcept {
  waiting_->Remove(*this);
}

void RequestTransaction::stop() {
  Leave();
  host_ = nullptr;
}

void RequestTransaction::AskForTurn() noexcept {
  Guarded([this] { host_->resume(); });
}

void RequestTransaction::resume() {
  Leave();
  Guarded([this] { LastCall(&libecap::host::Xaction::noteAbContentDone, true); });
}

void RequestTransaction::abDiscard() {
  abStopMaking();
}

void RequestTransaction::abMake() {
  Guarded([this] {
    if (!passes_body_) waiting_->Add(*this);
    is_sending_ = true;
    host_->noteAbContentAvailable();
    EndIfAllIsThere();
  });
}

void RequestTransaction::abMakeMore() {
  Guarded([this] {
    if (passes_body_ && !has_arrived_) host_->vbMakeMore();
  });
}

void RequestTransaction::abStopMaking() {
  Leave();
  is_sending_ = false;
  Guarded([this] {
    if (passes_body_ && !std::exchange(has_arrived_, true)) host_->vbStopMaking();
  });
}

void RequestTransaction::noteVbContentAvailable() {
  Guarded([this] {
    if (passes_body_ && is_sending_) host_->noteAbContentAvailable();
  });
}

void RequestTransaction::noteVbContentDone(bool at_end) {
  has_arrived_ = true;
  is_whole_ = at_end;
  Guarded([this] { EndIfAllIsThere(); });
}

void RequestTransaction::EndIfAllIsThere() {
  if (host_ == nullptr || !passes_body_ || !has_arrived_ || !is_sending_) return;
  is_sending_ = false;
  host_->noteAbContentDone(is_whole_);
}

libecap::Area RequestTransaction::abContent(libecap::size_type offset, libecap::size_type size) {
  if (passes_body_) return host_ == nullptr ? libecap::Area() : host_->vbContent(offset, size);
  const std::string_view left = std::string_view(body_).substr(taken_);
  const std::string_view wanted = left.substr(std::min(offset, left.size()), size);
  return {wanted.data(), wanted.size()};
}

void RequestTransaction::abContentShift(libecap::size_type size) {
  if (passes_body_) return Guarded([&] { host_->vbContentShift(size); });
  taken_ = std::min(taken_ + size, body_.size());
}

}  // namespace velmora::ecap
