#include "ecap/service.h"

#include <chrono>
#include <iostream>
#include <libecap/common/errors.h>
#include <libecap/common/log.h>
#include <libecap/common/name.h>
#include <libecap/common/named_values.h>
#include <libecap/common/options.h>
#include <libecap/common/registry.h>
#include <libecap/host/host.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "ecap/transaction.h"

namespace velmora::ecap {
namespace {

/// The "key=value" pairs of the service's line.
class FilesReader final : public libecap::NamedValueVisitor {
 public:
  void visit(const libecap::Name &name, const libecap::Area &value) override {
    const std::string key = name.image();
    // The proxy's own, told to every service.
    if (key == "bypassable") return;
    if (key == "policy") {
      files.policy = value.toString();
    } else if (key == "plugin") {
      files.plugin = value.toString();
    } else if (key == "event-log") {
      files.event_log = value.toString();
    } else {
      throw std::invalid_argument("unknown key \"" + key +
                                  "\"; what can stand here: policy, plugin, event-log");
    }
  }

  host::FilterFiles files{.plugin = host::DefaultPlugin(), .policy = host::DefaultPolicy()};
};

constexpr std::string_view HOLDS_ON = "; the old settings hold on";

/// A line in the proxy's own log. What cannot be said is no reason to keep an answer back.
void LogToProxy(std::string_view text, std::string_view more = {}) noexcept {
  try {
    libecap::host::Host &host = libecap::MyHost();
    if (std::ostream *const log = host.openDebug(+libecap::ilCritical | +libecap::flApplication)) {
      *log << "velmora: " << text << more;
      host.closeDebug(log);
    }
  } catch (...) {
    // Nothing is left to say it to.
  }
}

[[maybe_unused]] const bool is_registered = libecap::RegisterVersionedService(new Service);

}  // namespace

std::string Service::uri() const {
  return "ecap://velmora/respmod";
}

std::string Service::tag() const {
  return VELMORA_VERSION;
}

void Service::describe(std::ostream &stream) const {
  stream << "Velmora " VELMORA_VERSION;
}

void Service::configure(const libecap::Options &options) {
  try {
    FilesReader reader;
    options.visitEachOption(reader);
    if (filtering_ == nullptr) {
      filtering_ = host::StartFiltering(reader.files);
    } else {
      Renew(reader.files);
    }
  } catch (const std::exception &error) {
    if (filtering_ == nullptr) {
      throw libecap::TextException(std::string("velmora: ") + error.what());
    }
    Complain(error.what());
  } catch (...) {
    if (filtering_ == nullptr) throw libecap::TextException("velmora: cannot be configured");
    Complain("cannot be configured");
  }
  TellOfEventLog();
}

void Service::Renew(const host::FilterFiles &files) {
  TakeRenewed();
  host::Renewal renewal(filtering_, files);
  if (renewed_.valid()) {
    next_ = std::move(renewal);
  } else {
    FinishOnThread(std::move(renewal));
  }
}

void Service::FinishOnThread(host::Renewal renewal) {
  renewed_ = std::async(std::launch::async, [renewal = std::move(renewal)] {
    try {
      return renewal.Finish();
    } catch (const std::exception &error) {
      // The proxy's log is for the proxy's thread, with its next answer; this one need not wait.
      if (const auto &events = renewal.Before().events) events->AddError(error.what());
      throw;
    }
  });
}

void Service::TakeRenewed() noexcept {
  if (!renewed_.valid()) return;
  if (renewed_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return;
  try {
    filtering_ = renewed_.get();
  } catch (const std::exception &error) {
    LogToProxy(error.what(), HOLDS_ON);
  } catch (...) {
    LogToProxy("cannot be configured", HOLDS_ON);
  }
  if (!next_) return;
  try {
    FinishOnThread(*std::exchange(next_, std::nullopt));
  } catch (const std::exception &error) {
    Complain(error.what());
  }
}

void Service::Complain(const char *reason) const {
  LogToProxy(reason, HOLDS_ON);
  if (filtering_->events != nullptr) filtering_->events->AddError(reason);
}

void Service::TellOfEventLog() const noexcept {
  if (filtering_->events == nullptr) return;
  try {
    const std::optional<std::string> news = filtering_->events->News();
    if (news) LogToProxy(*news);
  } catch (...) {
    // What cannot be said now is no reason to keep an answer back.
  }
}

bool Service::wantsUrl(const char *) const {
  return true;
}

Service::MadeXactionPointer Service::makeXaction(libecap::host::Xaction *host) {
  TakeRenewed();
  TellOfEventLog();
  return MadeXactionPointer(new Transaction(filtering_, host));
}

}  // namespace velmora::ecap
