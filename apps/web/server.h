// Server: the web page on an address and port, or on a Unix socket.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "web/site.h"

namespace velmora::web {

struct Place {
  /// An IP address; not used with a socket.
  std::string address = "127.0.0.1";
  std::uint16_t port = 3180;
  /// A Unix socket; who may write to it may ask.
  std::filesystem::path socket{};
  /// PEM files; both empty: not encrypted.
  std::filesystem::path certificate{};
  std::filesystem::path key{};
};

class Server {
 public:
  /// Listens. Throws `std::runtime_error` when it cannot.
  Server(Site &site, const Place &place);
  ~Server();

  /// Serves until `Stop`.
  void Run();
  /// From any thread.
  void Stop() noexcept;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace velmora::web
