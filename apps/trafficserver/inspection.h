// Inspection: looking into encrypted traffic.
//
// A client that asks for a tunnel gets one to the proxy's own port for TLS, which answers in the
// site's name. What comes through it are requests like any others.
#pragma once

#include <cstdint>
#include <filesystem>
#include <ts/ts.h>

#include "host/policy/filtering.h"
#include "trafficserver/certificates.h"

namespace velmora::trafficserver {

class Inspection {
 public:
  /// The authority's folder, and the proxy's port for TLS on 127.0.0.1. Lives to the end of the
  /// process. Throws `std::runtime_error`.
  Inspection(const std::filesystem::path &authority, std::uint16_t port);
  Inspection(const Inspection &) = delete;
  Inspection &operator=(const Inspection &) = delete;

  /// Turns the tunnel that a client asks for here, unless the policy has it pass untouched; false
  /// then, and for all that is no tunnel. Throws.
  bool Turn(const host::Filtering &filtering, TSHttpTxn transaction) const;

 private:
  static int OnCertificate(TSCont continuation, TSEvent event, void *connection) noexcept;

  Certificates certificates_;
  std::uint16_t port_;
};

}  // namespace velmora::trafficserver
