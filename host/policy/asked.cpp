#include "host/policy/asked.h"

#include <algorithm>
#include <chrono>

#include "base/ascii.h"
#include "host/policy/groups.h"
#include "host/web/url.h"

namespace velmora::host {

const HostName &Asked::Site() const {
  if (!site_) site_.emplace(HostOfUrl(url_));
  return *site_;
}

const std::optional<ClientAddress> &Asked::Client() const {
  if (!client_) client_.emplace(ClientAddress::Parse(who_.client));
  return *client_;
}

bool Asked::IsSaidToBeIn(std::string_view group) const noexcept {
  std::string_view rest = who_.groups;
  while (!rest.empty()) {
    const std::size_t comma = std::min(rest.find(','), rest.size());
    if (base::TrimWebSpace(rest.substr(0, comma)) == group) return true;
    rest.remove_prefix(std::min(comma + 1, rest.size()));
  }
  return false;
}

MinuteOfWeek Asked::Minute(const LocalClock &clock) const {
  if (!minute_) minute_ = who_.minute ? *who_.minute : clock.Read(std::chrono::system_clock::now());
  return *minute_;
}

bool ClientGroup::Has(const Asked &asked) const {
  if (asked.IsSaidToBeIn(name)) return true;
  if (!asked.User().empty() && std::ranges::find(users, asked.User()) != users.end()) return true;
  return !clients.empty() && asked.Client() &&
         std::ranges::any_of(clients, [&](const ClientNetwork &network) {
           return network.Contains(*asked.Client());
         });
}

}  // namespace velmora::host
