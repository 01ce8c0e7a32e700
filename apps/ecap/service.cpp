#include "ecap/service.h"

#include <dlfcn.h>
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

#include "ecap/transaction.h"

namespace velmora::ecap {
namespace {

std::filesystem::path PluginBesideAdapter() {
  Dl_info adapter{};
  static const char place_in_adapter = 0;
  if (dladdr(&place_in_adapter, &adapter) == 0) return "libvelmora.so";
  return std::filesystem::path(adapter.dli_fname).parent_path() / "libvelmora.so";
}

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

  host::FilterFiles files{.plugin = PluginBesideAdapter(), .policy = host::DefaultPolicy()};
};

/// A line in the proxy's own log.
void LogToProxy(const std::string &text) {
  libecap::host::Host &host = libecap::MyHost();
  if (std::ostream *const log = host.openDebug(+libecap::ilCritical | +libecap::flApplication)) {
    *log << text;
    host.closeDebug(log);
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
    filtering_ = Configured(options);
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

std::shared_ptr<const host::Filtering> Service::Configured(const libecap::Options &options) const {
  FilesReader reader;
  options.visitEachOption(reader);
  return filtering_ == nullptr ? host::StartFiltering(reader.files)
                               : host::RenewFiltering(*filtering_, reader.files);
}

void Service::Complain(const char *reason) const {
  LogToProxy(std::string("velmora: ") + reason + "; the old settings hold on");
  if (filtering_->events != nullptr) filtering_->events->AddError(reason);
}

void Service::TellOfEventLog() const noexcept {
  if (filtering_->events == nullptr) return;
  try {
    const std::optional<std::string> news = filtering_->events->News();
    if (news) LogToProxy("velmora: " + *news);
  } catch (...) {
    // What cannot be said now is no reason to keep an answer back.
  }
}

bool Service::wantsUrl(const char *) const {
  return true;
}

Service::MadeXactionPointer Service::makeXaction(libecap::host::Xaction *host) {
  TellOfEventLog();
  return MadeXactionPointer(new Transaction(filtering_, host));
}

}  // namespace velmora::ecap
