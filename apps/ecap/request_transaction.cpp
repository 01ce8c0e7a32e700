#include "ecap/request_transaction.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <libecap/common/body.h>
#include <libecap/common/header.h>
#include <libecap/common/message.h>
#include <libecap/common/name.h>
#include <libecap/common/named_values.h>
#include <libecap/common/names.h>
#include <libecap/common/registry.h>
#include <libecap/common/version.h>
#include <libecap/host/host.h>
#include <optional>
#include <string_view>

#include "ecap/request_service.h"
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
  explicit Told(libecap::host::Xaction &host)
      : message_(host.virgin()), client_(host.option(libecap::metaClientIp)) {
    if (const auto *line = dynamic_cast<const libecap::RequestLine *>(&message_.firstLine())) {
      url_ = line->uri();
      method_ = line->method();
    }
  }

  host::RequestHead Head() const {
    return {.method = method_.image(),
            .url = {url_.start, url_.size},
            .client = {client_.start, client_.size},
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
  libecap::Area client_;
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
  std::optional<host::BlockedAnswer> answer;
  try {
    if (filtering_ != nullptr) answer = host::JudgeRequest(*filtering_, Told(*host_).Head());
  } catch (...) {
    // What cannot be judged goes on.
  }
  if (answer) return Answer(std::move(*answer));
  LastCall(&libecap::host::Xaction::useVirgin);
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
  Leave();
}

void RequestTransaction::abMake() {
  Guarded([this] {
    waiting_->Add(*this);
    host_->noteAbContentAvailable();
  });
}

void RequestTransaction::abMakeMore() {}

void RequestTransaction::abStopMaking() {
  Leave();
}

libecap::Area RequestTransaction::abContent(libecap::size_type offset, libecap::size_type size) {
  const std::string_view left = std::string_view(body_).substr(taken_);
  const std::string_view wanted = left.substr(std::min(offset, left.size()), size);
  return {wanted.data(), wanted.size()};
}

void RequestTransaction::abContentShift(libecap::size_type size) {
  taken_ = std::min(taken_ + size, body_.size());
}

}  // namespace velmora::ecap
