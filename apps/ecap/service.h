// Service: what makes a transaction for each response. Its line in the proxy's configuration names
// the policy file and nothing else that is decided about filtering; what it says holds for requests
// too.
#pragma once

#include <libecap/adapter/service.h>
#include <memory>
#include <utility>

#include "ecap/current_filtering.h"

namespace velmora::ecap {

class Service final : public libecap::adapter::Service {
 public:
  explicit Service(std::shared_ptr<CurrentFiltering> filtering)
      : filtering_(std::move(filtering)) {}

  std::string uri() const override;
  std::string tag() const override;
  void describe(std::ostream &stream) const override;
  /// Called once more on the same object when the proxy is told to read its configuration again.
  void configure(const libecap::Options &options) override;
  void reconfigure(const libecap::Options &options) override { configure(options); }
  bool wantsUrl(const char *url) const override;
  MadeXactionPointer makeXaction(libecap::host::Xaction *host) override;

 private:
  const std::shared_ptr<CurrentFiltering> filtering_;
};

}  // namespace velmora::ecap
