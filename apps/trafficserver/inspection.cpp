#include "trafficserver/inspection.h"

#include <arpa/inet.h>
#include <exception>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/ascii.h"
#include "host/web/host_set.h"
#include "trafficserver/client.h"
#include "trafficserver/message.h"
#include "trafficserver/tunnels.h"

namespace velmora::trafficserver {
namespace {

/// Websockets of pages that are not encrypted go through tunnels too.
constexpr int PLAIN_PORT = 80;

sockaddr_in Address(in_addr address, std::uint16_t port) noexcept {
  sockaddr_in whole{};
  whole.sin_family = AF_INET;
  whole.sin_addr = address;
  whole.sin_port = htons(port);
  return whole;
}

int OnTunnelEnd(TSCont continuation, TSEvent, void *transaction) noexcept {
  const auto number = reinterpret_cast<std::uintptr_t>(TSContDataGet(continuation));
  try {
    TheTunnels().Close({static_cast<in_addr_t>(number)});
  } catch (...) {
    // Its address is not used again.
  }
  TSContDestroy(continuation);
  TSHttpTxnReenable(static_cast<TSHttpTxn>(transaction), TS_EVENT_HTTP_CONTINUE);
  return 0;
}

void CloseAtEnd(TSHttpTxn transaction, in_addr address) {
  const TSCont end = TSContCreate(OnTunnelEnd, nullptr);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the address itself is what is kept
  TSContDataSet(end, reinterpret_cast<void *>(static_cast<std::uintptr_t>(address.s_addr)));
  TSHttpTxnHookAdd(transaction, TS_HTTP_TXN_CLOSE_HOOK, end);
}

}  // namespace

Inspection::Inspection(const std::filesystem::path &authority, std::uint16_t port)
    : certificates_(authority), port_(port) {
  const TSCont handshakes = TSContCreate(OnCertificate, nullptr);
  TSContDataSet(handshakes, this);
  TSHttpHookAdd(TS_SSL_CERT_HOOK, handshakes);
}

bool Inspection::Turn(const host::Filtering &filtering, TSHttpTxn transaction) const {
  const Message request(transaction, TSHttpTxnClientReqGet);
  if (!request || request.Method() != TS_HTTP_METHOD_CONNECT) return false;
  const Message::Target target = request.TunnelTarget();
  if (target.port == PLAIN_PORT) return false;
  if (filtering.policy.spliced_sites.Contains(host::HostName(target.host))) return false;
  const auto address = TheTunnels().Open(
      {WhoAsks(transaction, filtering.policy), std::string(base::Trim(target.host, "[]"))});
  if (!address) return false;
  CloseAtEnd(transaction, *address);
  const sockaddr_in from = Address(*address, 0);
  const sockaddr_in to = Address({htonl(INADDR_LOOPBACK)}, port_);
  TSHttpTxnOutgoingAddrSet(transaction, reinterpret_cast<const sockaddr *>(&from));
  TSHttpTxnServerAddrSet(transaction, reinterpret_cast<const sockaddr *>(&to));
  return true;
}

int Inspection::OnCertificate(TSCont continuation, TSEvent, void *data) noexcept {
  auto *const self = static_cast<Inspection *>(TSContDataGet(continuation));
  const auto connection = static_cast<TSVConn>(data);
  try {
    // Others who come to a port for TLS get what the proxy's configuration has for them.
    if (const std::optional<Tunnel> tunnel =
            TheTunnels().Find(TSNetVConnRemoteAddrGet(connection))) {
      auto *const handshake = reinterpret_cast<SSL *>(TSVConnSslConnectionGet(connection));
      const char *const asked = SSL_get_servername(handshake, TLSEXT_NAMETYPE_host_name);
      self->certificates_.Show(handshake, asked == nullptr ? tunnel->host : asked);
    }
  } catch (const std::exception &error) {
    // Without a certificate the handshake fails.
    TSError("velmora: %s", error.what());
  }
  TSVConnReenable(connection);
  return 0;
}

}  // namespace velmora::trafficserver
