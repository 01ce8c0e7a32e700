#include "web/setup/proxy_address.h"

#include "web/origin.h"

namespace velmora::web {
namespace {

bool IsOfThisMachine(std::string_view host) noexcept {
  return host == "localhost" || host == "[::1]" || host.starts_with("127.");
}

constexpr std::string_view SCRIPT_BEGIN = R"js(function FindProxyForURL(url, host) {
  // What lies in the house is asked for directly.
  if (isPlainHostName(host) || dnsDomainIs(host, ".local") || dnsDomainIs(host, ".home.arpa") ||
      host === "127.0.0.1" || host === "::1") {
    return "DIRECT";
  }
  if (/^\d+\.\d+\.\d+\.\d+$/.test(host) &&
      (isInNet(host, "10.0.0.0", "255.0.0.0") || isInNet(host, "172.16.0.0", "255.240.0.0") ||
       isInNet(host, "192.168.0.0", "255.255.0.0") || isInNet(host, "169.254.0.0", "255.255.0.0"))) {
    return "DIRECT";
  }
  return "PROXY )js";
constexpr std::string_view SCRIPT_END = "\";\n}\n";

}  // namespace

std::string ProxyFor(std::string_view proxy, std::string_view host_header) {
  const std::string host = HostOf(proxy);
  const std::string asked = HostOf(host_header);
  if (!IsOfThisMachine(host) || asked.empty() || IsOfThisMachine(asked)) return std::string(proxy);
  return asked + std::string(proxy.substr(proxy.rfind(':')));
}

std::string ProxyScript(std::string_view proxy) {
  return std::string(SCRIPT_BEGIN).append(proxy).append(SCRIPT_END);
}

}  // namespace velmora::web
