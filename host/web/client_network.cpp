#include "host/web/client_network.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <stdexcept>

namespace velmora::host {
namespace {

constexpr std::array<std::uint8_t, 12> IPV4_BEGIN = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
constexpr unsigned IPV4_BEGIN_BITS = IPV4_BEGIN.size() * 8;

/// The bits of byte `index` that a prefix takes in.
std::uint8_t MaskOfByte(std::size_t index, unsigned prefix) noexcept {
  const auto before = static_cast<unsigned>(index * 8);
  const unsigned bits = prefix <= before ? 0 : std::min(prefix - before, 8U);
  return static_cast<std::uint8_t>(0xFF00U >> bits);
}

std::invalid_argument Fault(std::string_view text, const std::string &what) {
  return std::invalid_argument("\"" + std::string(text) + "\" " + what);
}

}  // namespace

std::optional<ClientAddress> ClientAddress::Parse(std::string_view text) noexcept {
  char terminated[INET6_ADDRSTRLEN] = {};
  text = text.substr(0, text.find('%'));
  if (text.size() >= sizeof terminated) return std::nullopt;
  text.copy(terminated, text.size());
  ClientAddress address;
  auto &bytes = address.bytes_;
  if (inet_pton(AF_INET6, terminated, bytes.data()) == 1) return address;
  std::ranges::copy(IPV4_BEGIN, bytes.begin());
  if (inet_pton(AF_INET, terminated, bytes.data() + IPV4_BEGIN.size()) == 1) return address;
  return std::nullopt;
}

bool ClientAddress::IsIpv4() const noexcept {
  return std::equal(IPV4_BEGIN.begin(), IPV4_BEGIN.end(), bytes_.begin());
}

std::string ClientAddress::Text() const {
  char text[INET6_ADDRSTRLEN];
  if (IsIpv4()) return inet_ntop(AF_INET, bytes_.data() + IPV4_BEGIN.size(), text, sizeof text);
  return inet_ntop(AF_INET6, bytes_.data(), text, sizeof text);
}

ClientNetwork ClientAddress::Network() const noexcept {
  ClientNetwork network;
  network.prefix_ = IsIpv4() ? IPV4_BEGIN_BITS + 24 : 48;
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    network.address_.bytes_[i] =
        static_cast<std::uint8_t>(bytes_[i] & MaskOfByte(i, network.prefix_));
  }
  return network;
}

ClientNetwork ClientNetwork::Parse(std::string_view text) {
  const std::size_t slash = text.find('/');
  const auto address = ClientAddress::Parse(text.substr(0, slash));
  if (!address || text.find('%') != text.npos) {
    throw Fault(text, "is no network (as 192.168.0.0/16 or 2001:db8::/32)");
  }
  ClientNetwork network;
  network.address_ = *address;
  if (slash == text.npos) return network;

  const unsigned begin = address->IsIpv4() ? IPV4_BEGIN_BITS : 0;
  const std::string_view bits = text.substr(slash + 1);
  unsigned length = 0;
  const auto [end, error] = std::from_chars(bits.data(), bits.data() + bits.size(), length);
  if (error != std::errc() || end != bits.data() + bits.size() || length > 128 - begin) {
    throw Fault(text, "has no prefix length from 0 to " + std::to_string(128 - begin));
  }
  network.prefix_ = begin + length;
  for (std::size_t i = 0; i < network.address_.bytes_.size(); ++i) {
    network.address_.bytes_[i] &= MaskOfByte(i, network.prefix_);
  }
  if (network.address_.bytes_ != address->bytes_) {
    throw Fault(text, "has bits after its prefix: \"" + network.Text() + "\" is the network");
  }
  return network;
}

bool ClientNetwork::Contains(const ClientAddress &client) const noexcept {
  for (std::size_t i = 0; i < client.bytes_.size(); ++i) {
    if ((client.bytes_[i] & MaskOfByte(i, prefix_)) != address_.bytes_[i]) return false;
  }
  return true;
}

std::string ClientNetwork::Text() const {
  const unsigned begin = address_.IsIpv4() && prefix_ >= IPV4_BEGIN_BITS ? IPV4_BEGIN_BITS : 0;
  return address_.Text() + "/" + std::to_string(prefix_ - begin);
}

}  // namespace velmora::host
