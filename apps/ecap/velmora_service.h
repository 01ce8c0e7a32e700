// What both services tell the proxy of themselves in the same way.
#pragma once

#include <libecap/adapter/service.h>
#include <memory>
#include <ostream>
#include <string>
#include <utility>

#include "host/policy/current_filtering.h"

namespace velmora::ecap {

class VelmoraService : public libecap::adapter::Service {
 public:
  explicit VelmoraService(std::shared_ptr<host::CurrentFiltering> filtering)
      : filtering_(std::move(filtering)) {}

  std::string tag() const override { return VELMORA_VERSION; }
  void describe(std::ostream &stream) const override { stream << "Velmora " VELMORA_VERSION; }
  /// Called once more on the same object when the proxy is told to read its configuration again.
  void reconfigure(const libecap::Options &options) override { configure(options); }
  bool wantsUrl(const char *) const override { return true; }

 protected:
  const std::shared_ptr<host::CurrentFiltering> filtering_;
};

}  // namespace velmora::ecap
