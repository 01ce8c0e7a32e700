// Where devices find the proxy, and the script that tells browsers so (PAC; its form is of
// browsers' making, see "Proxy Auto-Configuration file" in their documentation).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace velmora::web {

/// "HOST:PORT". A proxy on the loopback address is, for a device that knows this page by another
/// name, under that name. `host_header` is the device's; what is no host in it is left out of
/// account.
std::string ProxyFor(std::string_view proxy, std::string_view host_header);

/// The script: all by way of the proxy but what lies in the house.
std::string ProxyScript(std::string_view proxy);

}  // namespace velmora::web
