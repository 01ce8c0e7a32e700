// Service: what makes a transaction for each response. Its line in the proxy's configuration names
// the policy file and nothing else that is decided about filtering; what it says holds for requests
// too.
#pragma once

#include "ecap/velmora_service.h"

namespace velmora::ecap {

class Service final : public VelmoraService {
 public:
  using VelmoraService::VelmoraService;

  std::string uri() const override;
  void configure(const libecap::Options &options) override;
  MadeXactionPointer makeXaction(libecap::host::Xaction *host) override;
};

}  // namespace velmora::ecap
