// What devices are told.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "web/house.h"
#include "web/setup/proxy_address.h"

namespace velmora::web {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(ProxyAddress, IsWhereTheDeviceReachesIt) {
  const struct {
    std::string proxy;
    std::string asked;
    std::string told;
  } cases[] = {
      {"127.0.0.1:3128", "localhost:3180", "127.0.0.1:3128"},
      {"127.0.0.1:3128", "192.168.1.2:3180", "192.168.1.2:3128"},
      {"127.0.0.1:3128", "wpad.home", "wpad.home:3128"},
      {"127.0.0.1:3128", "[2001:db8::1]:3180", "[2001:db8::1]:3128"},
      {"proxy.home:8080", "192.168.1.2", "proxy.home:8080"},
      {"127.0.0.1:3128", "\";alert(1);\"", "127.0.0.1:3128"},
  };
  for (const auto &each : cases) EXPECT_EQ(ProxyFor(each.proxy, each.asked), each.told);
}

TEST(Setup, HandsOutTheScriptUnderAnyName) {
  House house;
  Site site(house.Options());
  for (const std::string path : {"/proxy.pac", "/wpad.dat"}) {
    Request request = Get(path);
    request.host = "wpad.home";
    const Response response = site.Answer(request);
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.type, "application/x-ns-proxy-autoconfig");
    EXPECT_THAT(response.body, HasSubstr("return \"PROXY wpad.home:3128\";"));
  }
}

TEST(Setup, HandsOutTheCertificateAndNoKey) {
  House house;
  const std::string made = house.Folder() + "/ca.pem";
  const std::string make =
      "openssl req -x509 -newkey rsa:2048 -noenc -subj '/CN=The <proxy>' -days 9 "
      "-keyout " +
      made + " -out " + made + ".crt 2>/dev/null && cat " + made + ".crt >>" + made +
      " && openssl x509 -in " + made + " -noout -fingerprint -sha256 >" + house.Folder() + "/print";
  ASSERT_EQ(std::system(make.c_str()), 0);
  house.Options().authority = made;
  Site site(house.Options());
  const std::string print = house.Read("print");
  const std::string page = site.Answer(Get("/setup")).body;
  EXPECT_THAT(page, HasSubstr(print.substr(print.find('=') + 1, 95)));
  EXPECT_THAT(page, HasSubstr("The &lt;proxy&gt;"));
  const std::string pem = site.Answer(Get("/setup/velmora.pem")).body;
  EXPECT_EQ(pem, house.Read("ca.pem.crt"));
  EXPECT_THAT(pem, Not(HasSubstr("PRIVATE")));
  const Response der = site.Answer(Get("/setup/velmora.crt"));
  EXPECT_EQ(der.type, "application/x-x509-ca-cert");
  EXPECT_EQ(der.body.substr(0, 2), "\x30\x82");
}

}  // namespace
}  // namespace velmora::web
