#include "core/settings.h"

#include <gtest/gtest.h>

#include "core/byte_order.h"
#include "core/report.h"
#include "support/fake_host.h"

namespace velmora {
namespace {

using testing::FakeContext;
using testing::Report;

TEST(Settings, CategoryBits) {
  struct Case {
    std::int32_t code;
    std::uint32_t bit;
  };
  for (const Case &c : {Case{100, 0x1}, Case{103, 0x8}, Case{200, 0x10}, Case{203, 0x80},
                        Case{300, 0x100}, Case{304, 0x1000}, Case{308, 0x10000}, Case{400, 0x20000},
                        Case{99, 0}, Case{104, 0}, Case{204, 0}, Case{309, 0}, Case{401, 0}}) {
    EXPECT_EQ(CategoryBit(c.code), c.bit) << c.code;
  }
}

TEST(Settings, OptionBlockSuppressesCategories) {
  struct Case {
    std::int32_t category;
    bool enabled;
    std::vector<std::uint8_t> block;
    bool expected;
  };
  const Case cases[] = {
      {400, true, {}, true},
      {400, true, {0xFF, 0xFF, 0xFF}, true},
      {400, true, {0, 0, 0, 0, 0, 0, 2, 0}, false},
      {400, true, {0, 0, 2, 0, 0, 0, 0, 0}, true},  // the first word is no mask
      {400, true, {0, 0, 0, 0, 0, 0, 2}, false},    // missing bytes read as zero
      {400, true, {0, 0, 0, 0, 0, 0}, true},
      {305, false, {0, 0, 0, 0, 0, 0, 0, 0}, false},
      {999, true, {0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}, true},
  };
  for (const Case &c : cases) {
    FakeContext context;
    if (c.enabled) context.categories.insert(c.category);
    context.option_block = c.block;
    EXPECT_EQ(IsFeatureEnabled(context, c.category), c.expected)
        << c.category << ", block of " << c.block.size();
  }
}

TEST(Settings, OnlyTrueTurnsASettingOn) {
  FakeContext context;
  EXPECT_FALSE(IsSettingTrue(context, "X"));
  for (const auto &[value, on] : {std::pair{"TRUE", true},
                                  {"True", true},
                                  {"yes", false},
                                  {"1", false},
                                  {"true ", false},
                                  {"", false}}) {
    context.settings["X"] = value;
    EXPECT_EQ(IsSettingTrue(context, "X"), on) << value;
  }
}

TEST(Report, EmptyDescriptionBecomesTheLabel) {
  FakeContext context;
  ReportBlockedItem(context, 102, "", "d");
  ReportBlockedItem(context, 301, "", "");
  ReportBlockedItem(context, 400, "name", "");
  ReportBlockedItem(context, 305, "", "x");
  const std::vector<Report> expected = {
      {102, "(Script)", "d"}, {301, "(Applet)", ""}, {400, "name", ""}, {305, "", "x"}};
  EXPECT_EQ(context.reports, expected);
  EXPECT_EQ(context.reported_count, 4);
}

TEST(ByteOrder, FirstTwoBytesDecide) {
  struct Case {
    std::vector<std::uint8_t> bytes;
    int big_endian;  // -1: no answer
  };
  for (const Case &c :
       {Case{{0xFF, 0xFE}, 0}, Case{{0xFE, 0xFF}, 1}, Case{{0, 0}, 1}, Case{{0, '<'}, 1},
        Case{{'<', 0}, 0}, Case{{'<', 'h'}, -1}, Case{{0}, -1}, Case{{}, -1}}) {
    const auto found = DetectByteOrder(c.bytes);
    EXPECT_EQ(found ? int{found->big_endian} : -1, c.big_endian);
  }
}

}  // namespace
}  // namespace velmora
