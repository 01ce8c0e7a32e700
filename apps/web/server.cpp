#include "web/server.h"

#include <cerrno>
#include <chrono>
#include <httplib.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "base/descriptor.h"

namespace velmora::web {
namespace {

/// A form is small.
constexpr std::size_t MOST_BODY = 64U << 10;
/// Browsers hold some six connections open; one that says nothing is soon closed.
constexpr std::size_t THREADS = 24;
constexpr time_t PATIENCE = 5;

/// Everything that is not said here is not allowed: no script, no frame, nothing of other hosts.
constexpr char CONTENT_POLICY[] =
    "default-src 'none'; style-src 'self'; img-src 'self' https://check.velmora.invalid; "
    "form-action 'self'; base-uri 'none'; "
    "frame-ancestors 'none'";

Request ToRequest(const httplib::Request &from, bool is_encrypted, bool has_address) {
  Request request{.method = from.method == "HEAD" ? "GET" : from.method,
                  .path = from.path,
                  .host = from.get_header_value("Host"),
                  .origin = from.get_header_value("Origin"),
                  .fetch_site = from.get_header_value("Sec-Fetch-Site"),
                  .cookie = from.get_header_value("Cookie"),
                  .client = has_address ? from.remote_addr : std::string(),
                  .is_encrypted = is_encrypted};
  for (const auto &[name, value] : from.params) request.fields.emplace(name, value);
  return request;
}

void Protect(httplib::Response &response) {
  response.set_header("Content-Security-Policy", CONTENT_POLICY);
  response.set_header("X-Content-Type-Options", "nosniff");
  response.set_header("X-Frame-Options", "DENY");
  response.set_header("Referrer-Policy", "same-origin");
  response.set_header("Cross-Origin-Opener-Policy", "same-origin");
  if (!response.has_header("Cache-Control")) response.set_header("Cache-Control", "no-store");
}

void Give(const Response &from, httplib::Response &response) {
  response.status = from.status;
  for (const auto &[name, value] : from.headers) response.set_header(name, value);
  response.set_content(from.body, from.type);
}

/// Takes a socket away that nobody listens on any more.
void MakeRoomFor(const std::filesystem::path &socket) {
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  const std::string &name = socket.native();
  if (name.size() >= sizeof address.sun_path) {
    throw std::runtime_error(name + ": too long for a socket");
  }
  name.copy(address.sun_path, name.size());
  const base::Descriptor asking(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
  if (connect(asking.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
    throw std::runtime_error(name + ": somebody listens there already");
  }
  if (errno == ECONNREFUSED) unlink(name.c_str());
}

std::unique_ptr<httplib::Server> MakeServer(const Place &place) {
  if (place.certificate.empty()) return std::make_unique<httplib::Server>();
  auto server = std::make_unique<httplib::SSLServer>(place.certificate.c_str(), place.key.c_str());
  if (!server->is_valid()) {
    throw std::runtime_error(place.certificate.string() + ", " + place.key.string() +
                             ": not a certificate and its key");
  }
  return server;
}

}  // namespace

struct Server::Parts {
  std::unique_ptr<httplib::Server> server;
  std::filesystem::path socket;
};

Server::Server(Site &site, const Place &place)
    : parts_(new Parts{.server = MakeServer(place), .socket = place.socket}) {
  httplib::Server &server = *parts_->server;
  server.new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
  server.set_payload_max_length(MOST_BODY);
  server.set_keep_alive_timeout(PATIENCE);
  server.set_read_timeout(PATIENCE);
  server.set_write_timeout(PATIENCE);
  server.set_pre_routing_handler([](const httplib::Request &request, httplib::Response &response) {
    Protect(response);
    // A form says how long it is; what does not is not a browser's.
    if (!request.has_header("Transfer-Encoding") && !request.has_header("Content-Encoding")) {
      return httplib::Server::HandlerResponse::Unhandled;
    }
    response.status = 411;
    return httplib::Server::HandlerResponse::Handled;
  });
  const bool is_encrypted = !place.certificate.empty();
  const bool has_address = place.socket.empty();
  const auto answer = [&site, is_encrypted, has_address](const httplib::Request &request,
                                                         httplib::Response &response) {
    Give(site.Answer(ToRequest(request, is_encrypted, has_address)), response);
  };
  server.Get(".*", answer);
  server.Post(".*", answer);
  if (has_address) {
    server.set_socket_options([](socket_t socket) {
      const int yes = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    if (!server.bind_to_port(place.address, place.port)) {
      throw std::system_error(errno, std::generic_category(),
                              place.address + ":" + std::to_string(place.port));
    }
    return;
  }
  MakeRoomFor(place.socket);
  server.set_address_family(AF_UNIX);
  // The port means nothing, and has to be one.
  const mode_t mask = umask(0117);
  const bool is_bound = server.bind_to_port(place.socket.c_str(), 80);
  umask(mask);
  if (!is_bound) throw std::system_error(errno, std::generic_category(), place.socket.string());
}

Server::~Server() {
  if (!parts_->socket.empty()) unlink(parts_->socket.c_str());
}

void Server::Run() {
  parts_->server->listen_after_bind();
}

void Server::Stop() noexcept {
  // Before it serves it would not hear.
  for (int tries = 0; tries < 200 && !parts_->server->is_running(); ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  parts_->server->stop();
}

}  // namespace velmora::web
