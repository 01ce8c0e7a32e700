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

class SettingsReader final : public libecap::NamedValueVisitor {
 public:
  explicit SettingsReader(Settings &settings) : settings_(settings) {}

  void visit(const libecap::Name &name, const libecap::Area &value) override {
    // The proxy's own, told to every service.
    if (name == "bypassable") return;
    const std::string text = value.toString();
    try {
      settings_.Set(name.image(), text);
    } catch (const std::exception &error) {
      throw libecap::TextException("velmora: " + name.image() + "=" + text + ": " + error.what());
    }
  }

 private:
  Settings &settings_;
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
    if (filtering_ == nullptr) throw libecap::TextException(error.what());
    LogToProxy(std::string(error.what()) + "; the old settings hold on");
  } catch (...) {
    if (filtering_ == nullptr) throw libecap::TextException("velmora: cannot be configured");
  }
}

std::shared_ptr<Filtering> Service::Configured(const libecap::Options &options) const {
  auto filtering = std::make_shared<Filtering>();
  Settings &settings = filtering->settings;
  settings.plugin = PluginBesideAdapter();
  SettingsReader reader(settings);
  options.visitEachOption(reader);
  if (!settings.events.empty()) {
    filtering->events.emplace(host::EventLogOptions{.file = settings.events});
  }
  // The plug-in stays loaded: another one takes a new process.
  filtering->plugin = filtering_ != nullptr ? filtering_->plugin
                                            : std::make_shared<const host::Plugin>(
                                                  settings.plugin, settings.ad_library);
  return filtering;
}

bool Service::wantsUrl(const char *) const {
  return true;
}

Service::MadeXactionPointer Service::makeXaction(libecap::host::Xaction *host) {
  return MadeXactionPointer(new Transaction(filtering_, host));
}

}  // namespace velmora::ecap
