#include "ecap/request_service.h"

#include <algorithm>
#include <libecap/common/errors.h>
#include <libecap/common/log.h>
#include <libecap/common/name.h>
#include <libecap/common/named_values.h>
#include <libecap/common/options.h>
#include <libecap/common/registry.h>
#include <libecap/host/host.h>
#include <ostream>
#include <string>
#include <string_view>

#include "ecap/request_transaction.h"
#include "ecap/service.h"

namespace velmora::ecap {
namespace {

using std::chrono::microseconds;

/// The proxy has sent what a transaction announced when its turn comes; more often would keep it
/// from that.
constexpr microseconds TURN{2000};

class NoOptions final : public libecap::NamedValueVisitor {
 public:
  void visit(const libecap::Name &name, const libecap::Area &) override {
    if (name.image() == "bypassable") return;
    throw libecap::TextException("velmora: unknown key \"" + name.image() +
                                 "\" for requests: the service for responses has the settings");
  }
};

void LogToProxy(std::string_view line) {
  libecap::host::Host &host = libecap::MyHost();
  if (std::ostream *const log = host.openDebug(+libecap::ilCritical | +libecap::flApplication)) {
    *log << "velmora: " << line;
    host.closeDebug(log);
  }
}

[[maybe_unused]] const bool are_registered = [] {
  const auto filtering = std::make_shared<host::CurrentFiltering>(LogToProxy);
  const bool has_responses = libecap::RegisterVersionedService(new Service(filtering));
  return libecap::RegisterVersionedService(new RequestService(filtering)) && has_responses;
}();

}  // namespace

void Waiting::Remove(const RequestTransaction &transaction) noexcept {
  std::erase(transactions_, &transaction);
}

void Waiting::Resume() {
  // Each goes off the list when its turn comes, if not before.
  const std::vector<RequestTransaction *> now = transactions_;
  for (RequestTransaction *const transaction : now) {
    if (std::ranges::find(transactions_, transaction) != transactions_.end()) {
      transaction->AskForTurn();
    }
  }
}

std::string RequestService::uri() const {
  return "ecap://velmora/reqmod";
}

void RequestService::configure(const libecap::Options &options) {
  NoOptions visitor;
  options.visitEachOption(visitor);
}

void RequestService::suspend(timeval &timeout) {
  if (waiting_->IsEmpty()) return;
  const auto asked = std::chrono::seconds(timeout.tv_sec) + microseconds(timeout.tv_usec);
  const auto wait = std::min<microseconds>(asked, TURN);
  timeout.tv_sec = 0;
  timeout.tv_usec = static_cast<suseconds_t>(wait.count());
}

void RequestService::resume() {
  if (waiting_->IsEmpty() || Clock::now() < next_turn_) return;
  next_turn_ = Clock::now() + TURN;
  waiting_->Resume();
}

RequestService::MadeXactionPointer RequestService::makeXaction(libecap::host::Xaction *host) {
  return MadeXactionPointer(new RequestTransaction(filtering_->Now(), waiting_, host));
}

}  // namespace velmora::ecap
