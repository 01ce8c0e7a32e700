#include "trafficserver/tunnels.h"

#include <arpa/inet.h>
#include <cstddef>
#include <utility>

namespace velmora::trafficserver {
namespace {

/// Without the first and the last of the network.
constexpr std::uint32_t FIRST = 0x7F800001;
constexpr std::uint32_t COUNT = 0x7FFFFE;
/// So many of those that are closed are remembered.
constexpr std::size_t MOST_CLOSED = 4096;

}  // namespace

std::optional<in_addr> Tunnels::Open(Tunnel tunnel) {
  const base::MutexLock lock(mutex_);
  if (open_.size() >= COUNT) return std::nullopt;
  // In turn, so that an address stands for another tunnel as late as can be.
  while (open_.contains(FIRST + next_)) next_ = (next_ + 1) % COUNT;
  const std::uint32_t number = FIRST + next_;
  next_ = (next_ + 1) % COUNT;
  open_.emplace(number, std::move(tunnel));
  return in_addr{htonl(number)};
}

void Tunnels::Close(in_addr address) {
  const base::MutexLock lock(mutex_);
  closed_.push_back(ntohl(address.s_addr));
  if (closed_.size() <= MOST_CLOSED) return;
  open_.erase(closed_.front());
  closed_.pop_front();
}

std::optional<Tunnel> Tunnels::Find(const sockaddr *address) const {
  if (address == nullptr || address->sa_family != AF_INET) return std::nullopt;
  const auto *const of_ipv4 = reinterpret_cast<const sockaddr_in *>(address);
  const base::MutexLock lock(mutex_);
  const auto found = open_.find(ntohl(of_ipv4->sin_addr.s_addr));
  if (found == open_.end()) return std::nullopt;
  return found->second;
}

Tunnels &TheTunnels() {
  // Never ends: threads may still be at work when the process does.
  static Tunnels &tunnels = *new Tunnels;
  return tunnels;
}

}  // namespace velmora::trafficserver
