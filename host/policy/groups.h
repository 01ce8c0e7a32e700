// What a policy gives names of its own to: groups of clients, and categories of sites.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/web/client_network.h"
#include "host/web/host_set.h"

namespace velmora::host {

class Asked;

/// A client is in it by its address, by the name of its user, or because the proxy says so.
struct ClientGroup {
  std::string name{};
  std::uint32_t line = 0;
  std::vector<ClientNetwork> clients{};
  /// As the proxy knows those who have signed in to it.
  std::vector<std::string> users{};

  bool Has(const Asked &asked) const;
};

struct SiteCategory {
  std::string name{};
  std::uint32_t line = 0;
  HostSet sites{};
};

/// Some of a policy's categories of sites, by their places.
inline constexpr std::size_t MOST_SITE_CATEGORIES = 64;
using SiteCategorySet = std::bitset<MOST_SITE_CATEGORIES>;

}  // namespace velmora::host
