// ClientNetwork: the part of the network that a client's address lies in.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora::host {

/// An IPv4 or IPv6 address. IPv4 addresses are kept in their IPv6 form, so that a client is the
/// same whichever of the two a proxy names.
class ClientAddress {
 public:
  /// None for a text that is no address. A zone ("fe80::1%eth0") is left out.
  static std::optional<ClientAddress> Parse(std::string_view text) noexcept;

  bool operator==(const ClientAddress &) const = default;
  const std::array<std::uint8_t, 16> &Bytes() const noexcept { return bytes_; }
  bool IsIpv4() const noexcept;
  std::string Text() const;
  /// The network that it is one of many in: 24 bits, or 48 with IPv6.
  class ClientNetwork Network() const noexcept;

 private:
  friend class ClientNetwork;

  std::array<std::uint8_t, 16> bytes_{};
};

class ClientNetwork {
 public:
  /// Reads "192.168.0.0/16", "2001:db8::/32", or an address alone. Throws `std::invalid_argument`
  /// that says what is wrong, also when bits after the prefix are set.
  static ClientNetwork Parse(std::string_view text);

  bool operator==(const ClientNetwork &) const = default;
  bool Contains(const ClientAddress &client) const noexcept;
  std::string Text() const;

 private:
  friend class ClientAddress;

  ClientAddress address_;
  /// Of the 128 bits of the IPv6 form.
  unsigned prefix_ = 128;
};

}  // namespace velmora::host
