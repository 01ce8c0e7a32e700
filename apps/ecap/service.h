// Service: what the proxy finds in this library: one object a process, with the plug-in loaded into
// it, that makes a transaction for each response.
#pragma once

#include <libecap/adapter/service.h>
#include <memory>
#include <optional>

#include "ecap/settings.h"
#include "host/event_log.h"
#include "host/plugin.h"

namespace velmora::ecap {

/// What transactions share. Each keeps the one that it began with, so that a new configuration
/// holds for new transactions alone.
struct Filtering {
  Settings settings;
  std::shared_ptr<const host::Plugin> plugin;
  /// None: nobody asked for one.
  std::optional<host::EventLog> events;
};

class Service final : public libecap::adapter::Service {
 public:
  std::string uri() const override;
  std::string tag() const override;
  void describe(std::ostream &stream) const override;
  /// Called once more on the same object when the proxy is told to read its configuration again.
  /// The first time everything wrong is thrown, and the proxy does not start; later it is logged,
  /// and what held so far goes on to hold.
  void configure(const libecap::Options &options) override;
  void reconfigure(const libecap::Options &options) override { configure(options); }
  bool wantsUrl(const char *url) const override;
  MadeXactionPointer makeXaction(libecap::host::Xaction *host) override;

 private:
  std::shared_ptr<Filtering> Configured(const libecap::Options &options) const;

  std::shared_ptr<Filtering> filtering_;
};

}  // namespace velmora::ecap
