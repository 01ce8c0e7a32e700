#include "trafficserver/client.h"

#include <arpa/inet.h>
#include <array>
#include <cstddef>
#include <netinet/in.h>
#include <utility>

#include "trafficserver/tunnels.h"

namespace velmora::trafficserver {

std::string Client(TSHttpTxn transaction) {
  const sockaddr *const address = TSHttpTxnClientAddrGet(transaction);
  if (address == nullptr) return {};
  if (std::optional<Tunnel> tunnel = TheTunnels().Find(address)) return std::move(tunnel->client);
  std::array<char, INET6_ADDRSTRLEN> text{};
  const void *const number =
      address->sa_family == AF_INET6
          ? static_cast<const void *>(&reinterpret_cast<const sockaddr_in6 *>(address)->sin6_addr)
          : &reinterpret_cast<const sockaddr_in *>(address)->sin_addr;
  const char *const shown = inet_ntop(address->sa_family, number, text.data(), text.size());
  return shown == nullptr ? std::string() : std::string(shown);
}

std::string Url(TSHttpTxn transaction) {
  int size = 0;
  char *const text = TSHttpTxnEffectiveUrlStringGet(transaction, &size);
  if (text == nullptr) return {};
  std::string url(text, static_cast<std::size_t>(size));
  TSfree(text);
  return url;
}

}  // namespace velmora::trafficserver
