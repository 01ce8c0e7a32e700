#include "ecap/transaction.h"

#include <algorithm>
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
#include <string>
#include <utility>
#include <vector>

#include "ecap/told_asker.h"
#include "host/web/stale_headers.h"

namespace velmora::ecap {
namespace {

const libecap::Name CONTENT_TYPE("Content-Type");
const libecap::Name CONTENT_ENCODING("Content-Encoding");
const libecap::Name ACCEPT_ENCODING("Accept-Encoding");

const libecap::Name RANGE("Range");
const libecap::Name CONTENT_SECURITY_POLICY("Content-Security-Policy");

const libecap::Name SEC_FETCH_DEST("Sec-Fetch-Dest");
const libecap::Name SEC_FETCH_MODE("Sec-Fetch-Mode");
const libecap::Name X_VELMORA("X-Velmora");

constexpr int PARTIAL_CONTENT = 206;
constexpr int FORBIDDEN = 403;

/// The values of all lines of one name, with commas between them.
class LinesOf final : public libecap::NamedValueVisitor {
 public:
  explicit LinesOf(const libecap::Name &name) : name_(name) {}

  void visit(const libecap::Name &name, const libecap::Area &value) override {
    if (name != name_) return;
    if (joined) joined->append(", ").append(value.start, value.size);
    if (!joined) joined.emplace(value.start, value.size);
  }

  std::optional<std::string> joined;

 private:
  const libecap::Name &name_;
};

std::optional<std::string> Lines(const libecap::Header &header, const libecap::Name &name) {
  if (!header.hasAny(name)) return std::nullopt;
  LinesOf lines(name);
  header.visitEach(lines);
  return std::move(lines.joined);
}

std::optional<std::string> HeaderValue(const libecap::Header &header, const libecap::Name &name) {
  if (!header.hasAny(name)) return std::nullopt;
  return header.value(name).toString();
}

bool IsPartial(const libecap::Message &response) {
  const auto *status = dynamic_cast<const libecap::StatusLine *>(&response.firstLine());
  return status == nullptr || status->statusCode() == PARTIAL_CONTENT;
}

/// Takes off what will not hold of a body that is changed.
void DropStaleHeaders(libecap::Message &head) {
  // By the proxy's own name: only so does it forget the number too.
  head.header().removeAny(libecap::headerContentLength);
  static const std::vector<libecap::Name> names(std::begin(host::STALE_HEADERS),
                                                std::end(host::STALE_HEADERS));
  for (const libecap::Name &name : names) head.header().removeAny(name);
}

bool IsScriptWithCors(const libecap::Header &header) {
  return host::IsScriptWithCors(HeaderValue(header, SEC_FETCH_DEST).value_or(""),
                                HeaderValue(header, SEC_FETCH_MODE).value_or(""));
}

std::string Url(const libecap::Message &request) {
  const auto *line = dynamic_cast<const libecap::RequestLine *>(&request.firstLine());
  return line == nullptr ? std::string() : line->uri().toString();
}

}  // namespace

void Transaction::start() {
  Guarded([this] {
    try {
      Begin();
    } catch (...) {
      if (sending_ != Side::NOT_BEGUN || host_ == nullptr) throw;
      LastCall(host::MayPass(*filtering_) ? &libecap::host::Xaction::useVirgin
                                          : &libecap::host::Xaction::blockVirgin);
    }
  });
}

void Transaction::Begin() {
  using Way = host::FilteredResponse::Way;
  const libecap::Message &response = host_->virgin();
  const libecap::Message &request = host_->cause();
  const std::string coding = HeaderValue(response.header(), CONTENT_ENCODING).value_or("");
  const std::string accepted = HeaderValue(request.header(), ACCEPT_ENCODING).value_or("");
  const ToldAsker told(*host_, filtering_->policy);
  const host::Asker who = told.Get();
  response_.emplace(
      filtering_,
      host::ResponseHead{
          .url = Url(request),
          .client = std::string(who.client),
          .user = who.user,
          .groups = who.groups,
          .has_body = response.body() != nullptr,
          .is_asked_for_part = IsPartial(response) && request.header().hasAny(RANGE),
          .is_script_with_cors = IsScriptWithCors(request.header()),
          .content_type = Lines(response.header(), CONTENT_TYPE),
          .security_policy = Lines(response.header(), CONTENT_SECURITY_POLICY).value_or(""),
          .content_encoding = coding,
          .accept_encoding = accepted});
  if (response_->TheWay() == Way::REFUSED) return LastCall(&libecap::host::Xaction::blockVirgin);
  if (response_->TheWay() == Way::FILTERED) filter_ = &response_->Filter();
  if (filter_ == nullptr && response_->SecurityPolicy().empty()) {
    return LastCall(&libecap::host::Xaction::useVirgin);
  }
  if (filter_ != nullptr && response_->IsPinned()) {
    is_deciding_ = true;
    receiving_ = Side::OPEN;
    return host_->vbMake();
  }
  const auto head = SentHead();
  if (response.body() != nullptr) {
    host_->vbMake();
    receiving_ = Side::OPEN;
    sending_ = Side::OPEN;
  } else {
    sending_ = Side::CLOSED;
  }
  host_->useAdapted(head);
}

void Transaction::Decide() {
  Refill();
  const bool is_over = has_arrived_ || filter_->State() != host::StreamState::FILTERING;
  if (ready_.empty() && !is_over) return;
  is_deciding_ = false;
  if (filter_->HasBlocked() || filter_->State() == host::StreamState::FAILED) return Refuse();
  sending_ = Side::OPEN;
  host_->useAdapted(SentHead());
}

void Transaction::Refuse() {
  StopReceiving();
  const libecap::shared_ptr<libecap::Message> answer = libecap::MyHost().newResponse();
  auto &status = dynamic_cast<libecap::StatusLine &>(answer->firstLine());
  status.version(libecap::Version(1, 1, 0));
  status.statusCode(FORBIDDEN);
  status.reasonPhrase(libecap::Area::FromTempString("Forbidden"));
  libecap::Header &header = answer->header();
  header.add(CONTENT_TYPE, libecap::Area::FromTempString("text/javascript"));
  header.add(libecap::headerContentLength, libecap::Area::FromTempString("0"));
  header.add(X_VELMORA, libecap::Area::FromTempString(host::PINNED_REFUSAL));
  LastCall(&libecap::host::Xaction::useAdapted, answer);
}

libecap::shared_ptr<libecap::Message> Transaction::SentHead() const {
  libecap::shared_ptr<libecap::Message> head = host_->virgin().clone();
  libecap::Header &header = head->header();
  const auto add = [&header](const libecap::Name &name, std::string_view value) {
    if (!value.empty()) {
      header.add(name, libecap::Area::FromTempBuffer(value.data(), value.size()));
    }
  };
  if (filter_ != nullptr) {
    DropStaleHeaders(*head);
    add(X_VELMORA, response_->Mark());
  }
  add(CONTENT_ENCODING, response_->SentCoding());
  add(CONTENT_SECURITY_POLICY, response_->SecurityPolicy());
  return head;
}

void Transaction::stop() {
  host_ = nullptr;
}

void Transaction::abDiscard() {
  Guarded([this] {
    sending_ = Side::CLOSED;
    StopReceiving();
  });
}

void Transaction::abMake() {
  Guarded([this] { Pump(); });
}

void Transaction::abMakeMore() {
  Guarded([this] { Pump(); });
}

void Transaction::abStopMaking() {
  abDiscard();
}

libecap::Area Transaction::abContent(libecap::size_type offset, libecap::size_type size) {
  const std::string_view wanted = ready_.substr(std::min(offset, ready_.size()), size);
  return {wanted.data(), wanted.size()};
}

void Transaction::abContentShift(libecap::size_type size) {
  ready_.remove_prefix(std::min(size, ready_.size()));
  if (ready_.empty()) Guarded([this] { Pump(); });
}

void Transaction::noteVbContentDone(bool at_end) {
  Guarded([&] {
    has_arrived_ = true;
    is_broken_ = !at_end;
    GoOn();
  });
}

void Transaction::noteVbContentAvailable() {
  Guarded([this] { GoOn(); });
}

void Transaction::GoOn() {
  if (is_deciding_) {
    Decide();
  } else {
    Pump();
  }
}

void Transaction::Pump() {
  if (is_pumping_ || sending_ != Side::OPEN) return;
  is_pumping_ = true;
  for (;;) {
    if (ready_.empty()) Refill();
    const std::size_t size = ready_.size();
    if (size == 0) break;
    host_->noteAbContentAvailable();
    if (host_ == nullptr || ready_.size() == size) break;
  }
  is_pumping_ = false;
  if (host_ == nullptr || !ready_.empty() || sending_ != Side::OPEN) return;
  if (filter_ == nullptr) {
    if (has_arrived_) EndSending(!is_broken_);
  } else if (filter_->State() == host::StreamState::FINISHED) {
    EndSending(true);
  } else if (filter_->State() == host::StreamState::FAILED) {
    EndSending(false);
  }
}

void Transaction::Refill() {
  if (filter_ == nullptr) return RefillUnfiltered();
  ready_ = filter_->Next();
  while (ready_.empty() && receiving_ == Side::OPEN) {
    TakePiece();
    if (piece_.size == 0) break;
    ready_ = filter_->Push({piece_.start, piece_.size});
  }
  if (!ready_.empty() || !has_arrived_ || std::exchange(is_finishing_, true)) return;
  if (is_broken_) {
    // What is held back may be half of something that should be blocked.
    filter_->Abort();
  } else {
    ready_ = filter_->Finish();
  }
}

void Transaction::RefillUnfiltered() {
  if (receiving_ != Side::OPEN) return;
  TakePiece();
  ready_ = {piece_.start, piece_.size};
}

void Transaction::TakePiece() {
  piece_ = host_->vbContent(0, libecap::nsize);
  if (piece_.size != 0) host_->vbContentShift(piece_.size);
}

void Transaction::StopReceiving() {
  if (std::exchange(receiving_, Side::CLOSED) == Side::OPEN) host_->vbStopMaking();
}

void Transaction::EndSending(bool is_whole) {
  sending_ = Side::CLOSED;
  StopReceiving();
  host_->noteAbContentDone(is_whole);
}

}  // namespace velmora::ecap
