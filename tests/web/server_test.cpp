// The page over a real connection.
#include "web/server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/socket.h>
#include <thread>

#include "web/house.h"

namespace velmora::web {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// Serves while it lives.
class Running {
 public:
  explicit Running(Server &server) : server_(server), thread_([&server] { server.Run(); }) {}
  Running(const Running &) = delete;
  Running &operator=(const Running &) = delete;
  ~Running() {
    server_.Stop();
    thread_.join();
  }

 private:
  Server &server_;
  std::thread thread_;
};

/// The answer may come before all is sent, and then is not read.
bool IsRefused(const httplib::Result &result, int status) {
  return !result || result->status == status;
}

TEST(Server, ProtectsWhatItSends) {
  constexpr char FORM[] = "application/x-www-form-urlencoded";
  House house;
  Site site(house.Options());
  const std::string socket = house.Folder() + "/socket";
  Server server(site, {.socket = socket});
  const Running running(server);
  httplib::Client client(socket);
  client.set_address_family(AF_UNIX);
  client.set_default_headers({{"Host", "localhost"}});

  for (const char *const path : {"/login", "/style.css", "/nothing", "/"}) {
    const auto result = client.Get(path);
    ASSERT_TRUE(result) << path;
    const std::string policy = result->get_header_value("Content-Security-Policy");
    EXPECT_THAT(policy, HasSubstr("default-src 'none'; style-src 'self'"));
    EXPECT_THAT(policy, Not(HasSubstr("unsafe")));
    EXPECT_EQ(result->get_header_value("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(result->get_header_value("X-Frame-Options"), "DENY");
  }
  const auto head = client.Head("/login");
  ASSERT_TRUE(head);
  EXPECT_EQ(head->status, 200);
  EXPECT_TRUE(IsRefused(client.Post("/login", std::string(100'000, 'a'), FORM), 413));
  const auto provider = [](std::size_t, httplib::DataSink &sink) {
    sink.done();
    return true;
  };
  EXPECT_TRUE(IsRefused(client.Post("/login", provider, FORM), 411));

  httplib::Client other(socket);
  other.set_address_family(AF_UNIX);
  const auto elsewhere = other.Get("/login", {{"Host", "evil.example"}});
  ASSERT_TRUE(elsewhere);
  EXPECT_EQ(elsewhere->status, 421);
  EXPECT_THROW(Server(site, {.socket = socket}), std::runtime_error) << "somebody listens there";
}

}  // namespace
}  // namespace velmora::web
