// The certificate authority of a proxy that looks into encrypted traffic, as devices are told to
// trust it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace velmora::web {

struct Authority {
  /// As browsers list it.
  std::string name{};
  /// SHA-256, as browsers show it: "0A:1B:...".
  std::string fingerprint{};
  std::string expires{};
  /// The certificate alone, whatever else stands in the file.
  std::string pem{};
  std::string der{};
};

/// None where there is no such file. Throws `std::runtime_error` when it has no certificate.
std::optional<Authority> ReadAuthority(const std::filesystem::path &file);

}  // namespace velmora::web
