#include "host/bodies/categories.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace velmora::host {
namespace {

using ::testing::ThrowsMessage;

std::vector<std::int32_t> Codes(CategorySet set) {
  std::vector<std::int32_t> codes;
  for (const Category &category : CATEGORY_TABLE) {
    if (set.Contains(category.code)) codes.push_back(category.code);
  }
  return codes;
}

TEST(CategorySet, ReadsNamesCodesAndGroups) {
  const std::pair<std::string_view, std::vector<std::int32_t>> cases[] = {
      {"", {}},
      {"none", {}},
      {"scripts", {300}},
      {"303,flash", {303}},
      {"Gif-Animation, 100 ,", {100, 400}},
      {"javascript,javascript-flash,vbscript-ad-urls", {100, 101, 203}},
      {"ads", {102, 103, 202, 203, 304, 305, 500, 501}},
      {"calm", {307, 308, 500, 501}},
      {"default,scripts", {300, 307, 308, 500, 501}},
      {"strict", {101, 102, 103, 201, 202, 203, 301, 302, 303, 304, 305, 306, 307, 308, 400, 500}},
      {"classic", {300, 301, 302, 303, 304, 305, 400, 500}},
      {"still", {301, 302, 303, 307, 308, 400, 500, 501}},
      {"all", {100, 101, 102, 103, 200, 201, 202, 203, 300, 301,
               302, 303, 304, 305, 306, 307, 308, 400, 500, 501}},
  };
  for (const auto &[list, codes] : cases) EXPECT_EQ(Codes(CategorySet::Parse(list)), codes) << list;
  EXPECT_EQ(
      Codes(CategorySet::Parse("ads,flash").Without(CategorySet::Parse("102,103,202,203,500,501"))),
      (std::vector<std::int32_t>{303, 304, 305}));
}

TEST(CategorySet, NamesTheWordThatIsNoCategory) {
  const std::pair<std::string_view, const char *> cases[] = {
      {"flash,pop-ups", "unknown category \"pop-ups\"; did you mean \"popups\"?"},
      {"309,pop-ups", "unknown category \"309\""},
      {"Gif", "unknown category \"gif\""},
      {"javascrpt", "unknown category \"javascrpt\"; did you mean \"javascript\"?"},
  };
  for (const auto &[list, message] : cases) {
    EXPECT_THAT([list = list] { CategorySet::Parse(list); },
                ThrowsMessage<std::invalid_argument>(message));
  }
}

TEST(CategorySet, HoldsNoCodeThatIsNoCategory) {
  for (const std::int32_t code : {-1, 0, 99, 104, 309, 401}) {
    EXPECT_FALSE(CategorySet::All().Contains(code)) << code;
    EXPECT_EQ(NameOfCategory(code), "") << code;
  }
  EXPECT_EQ(NameOfCategory(CATEGORY_AD_URLS), "ad-urls");
  EXPECT_EQ(CategorySet::Parse("requests,popups,501,308").Preset(), "calm");
  EXPECT_EQ(CategorySet::Parse("calm,flash").Preset(), "");
}

}  // namespace
}  // namespace velmora::host
