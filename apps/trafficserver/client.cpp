#include "trafficserver/client.h"

#include <arpa/inet.h>
#include <array>
#include <cstddef>
#include <memory>
#include <netinet/in.h>
#include <utility>

#include "trafficserver/message.h"
#include "trafficserver/tunnels.h"

namespace velmora::trafficserver {

namespace {

struct ServersFree {
  void operator()(char *text) const noexcept { TSfree(text); }
};

std::string Text(const sockaddr &address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const void *const number =
      address.sa_family == AF_INET6
          ? static_cast<const void *>(&reinterpret_cast<const sockaddr_in6 &>(address).sin6_addr)
          : &reinterpret_cast<const sockaddr_in &>(address).sin_addr;
  const char *const shown = inet_ntop(address.sa_family, number, text.data(), text.size());
  return shown == nullptr ? std::string() : std::string(shown);
}

}  // namespace

Who WhoAsks(TSHttpTxn transaction, const host::Policy &policy) {
  const sockaddr *const address = TSHttpTxnClientAddrGet(transaction);
  if (address == nullptr) return {};
  if (std::optional<Tunnel> tunnel = TheTunnels().Find(address)) return std::move(tunnel->who);
  Who who{.client = Text(*address)};
  if (policy.groups.empty()) return who;
  const Message request(transaction, TSHttpTxnClientReqGet);
  if (!request) return who;
  who.user = request.Value("@Velmora-User");
  who.groups = request.Joined("@Velmora-Groups").value_or("");
  return who;
}

std::string Url(TSHttpTxn transaction) {
  int size = 0;
  const std::unique_ptr<char, ServersFree> text(TSHttpTxnEffectiveUrlStringGet(transaction, &size));
  return text ? std::string(text.get(), static_cast<std::size_t>(size)) : std::string();
}

}  // namespace velmora::trafficserver
