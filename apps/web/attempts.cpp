#include "web/attempts.h"

#include <algorithm>

#include "host/web/client_network.h"

namespace velmora::web {
namespace {

/// With IPv6 one device has as many addresses as it likes.
std::string NetworkOf(const std::string &client) {
  const auto address = host::ClientAddress::Parse(client);
  if (!address) return client;
  return address->IsIpv4() ? address->Text() : address->Network().Text();
}

}  // namespace

void Attempts::Sweep(Clock::time_point now) {
  for (auto &[network, times] : failures_) {
    std::erase_if(times, [&](Clock::time_point time) { return now - time >= WITHIN; });
  }
  std::erase_if(failures_, [](const auto &entry) { return entry.second.empty(); });
}

std::chrono::seconds Attempts::Begin(const std::string &client, Clock::time_point now) {
  const base::MutexLock lock(mutex_);
  Sweep(now);
  std::size_t all = 0;
  auto oldest = now;
  for (const auto &[network, times] : failures_) {
    all += times.size();
    oldest = std::min(oldest, times.front());
  }
  auto &own = failures_[NetworkOf(client)];
  if (own.size() >= MOST) oldest = own.front();
  if (own.size() >= MOST || all >= MOST_OF_ALL) {
    return std::chrono::ceil<std::chrono::seconds>(WITHIN - (now - oldest));
  }
  own.push_back(now);
  return std::chrono::seconds(0);
}

void Attempts::Forgive(const std::string &client) {
  const base::MutexLock lock(mutex_);
  failures_.erase(NetworkOf(client));
}

}  // namespace velmora::web
