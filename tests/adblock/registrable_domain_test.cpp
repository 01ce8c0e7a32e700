#include "matcher/registrable_domain.h"

#include <gtest/gtest.h>
#include <string>

#include "matcher/host_names.h"

namespace velmora::adblock {
namespace {

TEST(RegistrableDomain, TellsParties) {
  struct {
    const char *page;
    const char *url;
    bool third;
  } cases[] = {
      {"a.com", "a.com", false},
      {"www.a.com", "cdn.a.com", false},
      {"a.com", "b.com", true},
      {"a.com", "a.net", true},
      {"a.co.uk", "b.co.uk", true},
      {"www.a.co.uk", "a.co.uk", false},
      {"co.uk", "a.co.uk", true},
      {"a.github.io", "b.github.io", true},
      // A suffix below a domain that is none itself.
      {"a.s3.amazonaws.com", "console.amazonaws.com", true},
      {"1.2.3.4", "5.2.3.4", true},
      {"1.2.3.4", "1.2.3.4", false},
      {"[::1]", "[::2]", true},
      {"intranet", "intranet", false},
      {"a.intranet", "b.intranet", true},
      {"x.a.intranet", "y.a.intranet", false},
      {"", "a.com", true},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(IsThirdParty(c.page, c.url), c.third) << c.page << " " << c.url;
    if (!*c.page) continue;
    EXPECT_EQ(IsThirdParty(c.url, c.page), c.third) << c.url << " " << c.page;
  }
  const std::string longest(300, 'a');
  EXPECT_TRUE(IsThirdParty(longest + ".com.example", "b" + longest + ".com.example"));
}

TEST(RegistrableDomain, SuffixesAreTakenOff) {
  EXPECT_EQ(WithoutPublicSuffix("www.shop.co.uk"), "www.shop");
  EXPECT_EQ(WithoutPublicSuffix("shop.com"), "shop");
  EXPECT_EQ(WithoutPublicSuffix("com"), "");
  EXPECT_EQ(WithoutPublicSuffix("co.uk"), "");
  EXPECT_EQ(WithoutPublicSuffix("1.2.3.4"), "");
  EXPECT_EQ(WithoutPublicSuffix(""), "");
}

TEST(HostNames, AreToldFromOtherText) {
  for (const char *name : {"a.com", "A.Com", "x-y.z_1.co.uk", "1.2.3.4", "1x.net", "ads.js"}) {
    EXPECT_TRUE(IsHostName(name)) << name;
  }
  for (const char *name : {"com", "a..com", ".com", "a.com.", "-a.com", "a-.com", "1.2.3",
                           "1.2.3.4.5", "a.com/x", "a com", ""}) {
    EXPECT_FALSE(IsHostName(name)) << name;
  }
  EXPECT_FALSE(IsHostName(std::string(64, 'a') + ".com"));
}

}  // namespace
}  // namespace velmora::adblock
