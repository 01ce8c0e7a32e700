#include "web/origin.h"

#include <algorithm>

#include "base/ascii.h"
#include "host/web/client_network.h"

namespace velmora::web {
namespace {

bool IsOfHostName(char c) noexcept {
  return base::IsLetterAscii(c) || base::IsDigitAscii(c) || c == '-' || c == '.' || c == '_';
}

bool IsPort(std::string_view text) noexcept {
  return text.empty() || (text.front() == ':' && text.size() <= 6 &&
                          std::ranges::all_of(text.substr(1), base::IsDigitAscii));
}

bool IsAddress(std::string_view host) {
  if (host.starts_with('[')) host = host.substr(1, host.size() - 2);
  return host::ClientAddress::Parse(host).has_value();
}

}  // namespace

std::string HostOf(std::string_view header) {
  const bool is_ipv6 = header.starts_with('[');
  const std::size_t end = is_ipv6 ? header.find(']') : header.find(':');
  if (is_ipv6 && end == header.npos) return {};
  const std::string_view host = header.substr(0, is_ipv6 ? end + 1 : end);
  if (!IsPort(header.substr(host.size()))) return {};
  if (is_ipv6 ? !IsAddress(host) : !std::ranges::all_of(host, IsOfHostName)) return {};
  std::string lower(host);
  std::ranges::transform(lower, lower.begin(), base::ToLowerAscii);
  if (lower.ends_with('.')) lower.pop_back();
  return lower;
}

bool IsOwnHost(std::string_view header, const std::vector<std::string> &names) {
  const std::string host = HostOf(header);
  if (host.empty()) return false;
  return host == "localhost" || IsAddress(host) ||
         std::ranges::any_of(
             names, [&](const std::string &name) { return base::EqualNoCase(name, host); });
}

bool IsFromElsewhere(const Request &request) {
  if (!request.fetch_site.empty() && request.fetch_site != "same-origin") return true;
  if (request.origin.empty()) return false;
  const std::string own = (request.is_encrypted ? "https://" : "http://") + request.host;
  // Behind a proxy that takes TLS off, the browser's scheme is another.
  return request.origin != own && request.origin != "https://" + request.host;
}

}  // namespace velmora::web
