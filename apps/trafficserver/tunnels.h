// Tunnels: whose connections those are that the proxy makes to itself.
//
// A tunnel that is looked into leads to the proxy's own port for TLS. So that it is known there who
// the client is and what it asked for, each tunnel leaves from a loopback address of its own, out
// of 127.128.0.0/9.
#pragma once

#include <cstdint>
#include <deque>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <unordered_map>

#include "base/mutex.h"
#include "trafficserver/client.h"

namespace velmora::trafficserver {

struct Tunnel {
  Who who;
  /// The name or address that the client gave.
  std::string host;
};

/// Any number of threads use it at once.
class Tunnels {
 public:
  /// The address that stands for it; none when there are as many tunnels as there are addresses.
  std::optional<in_addr> Open(Tunnel tunnel);
  /// What comes from it a little later is still known.
  void Close(in_addr address);
  std::optional<Tunnel> Find(const sockaddr *address) const;

 private:
  mutable base::Mutex mutex_;
  std::uint32_t next_ VELMORA_GUARDED_BY(mutex_) = 0;
  std::unordered_map<std::uint32_t, Tunnel> open_ VELMORA_GUARDED_BY(mutex_);
  std::deque<std::uint32_t> closed_ VELMORA_GUARDED_BY(mutex_);
};

/// Those of this process.
Tunnels &TheTunnels();

}  // namespace velmora::trafficserver
