// Certificates: what the proxy shows in a site's name, signed by an authority of its own.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <openssl/ssl.h>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/mutex.h"

namespace velmora::trafficserver {

/// Any number of threads use it at once.
class Certificates {
 public:
  /// `folder` has the authority's `key.pem` and `velmora-proxy.crt`. Throws `std::runtime_error`.
  explicit Certificates(const std::filesystem::path &folder);

  /// Has the connection show a certificate for a site, by its name or IP address. Throws
  /// `std::runtime_error`.
  void Show(SSL *connection, std::string_view site);

 private:
  template <auto FREE>
  struct Free {
    void operator()(auto *object) const noexcept { FREE(object); }
  };
  using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;
  using Certificate = std::unique_ptr<X509, Free<X509_free>>;

  struct Made {
    Certificate certificate;
    std::chrono::steady_clock::time_point time;
  };

  Certificate Make(const std::string &site) const;
  static void AddExtensions(X509 *certificate, X509 *issuer, const std::string &site);
  Certificate For(const std::string &site);

  Key authority_key_;
  Certificate authority_;
  /// Of all sites: it never leaves this process.
  Key key_;
  base::Mutex mutex_;
  std::unordered_map<std::string, Made> made_ VELMORA_GUARDED_BY(mutex_);
};

}  // namespace velmora::trafficserver
