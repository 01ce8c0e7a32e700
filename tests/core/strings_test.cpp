#include "core/strings.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

TEST(Strings, QuotesAndSpaceAreStripped) {
  EXPECT_EQ(StripQuotes("\"'x'\""), "x");
  EXPECT_EQ(StripQuotes("'\"'"), "");
  EXPECT_EQ(StripQuotes("a'b\""), "a'b");
  EXPECT_EQ(TrimSpace("\t\r\n x y \v\f"), "x y");
  EXPECT_EQ(TrimSpace(" \xA0 "), "\xA0");
  EXPECT_EQ(QuoteValue("x"), "\"x\"");
}

TEST(Strings, SameValueDropsOneQuoteAtEachEnd) {
  struct Case {
    const char *left, *right;
    bool same;
  };
  for (const Case &c : {Case{"'Content-Type'", "content-type", true}, Case{"\"a", "A'", true},
                        Case{"''a''", "a", false}, Case{"''a''", "''A''", true},
                        Case{"'", "", true}, Case{"a ", "a", false}, Case{"\xE9", "\xC9", false}}) {
    EXPECT_EQ(SameValue(c.left, c.right), c.same) << c.left << " | " << c.right;
  }
}

TEST(Strings, ContainsNoCase) {
  EXPECT_TRUE(ContainsNoCase("javascript:", "' JavaScript:void(0)'"));
  EXPECT_TRUE(ContainsNoCase("b", "ab"));
  EXPECT_TRUE(ContainsNoCase("", ""));
  EXPECT_FALSE(ContainsNoCase("ab", "b"));
  EXPECT_FALSE(ContainsNoCase("javascript:", "javascript"));
}

TEST(Strings, ParseNumberReadsLikeStrtolIn32Bits) {
  struct Case {
    const char *value;
    std::int32_t number;
  };
  for (const Case &c :
       {Case{"468px", 468}, Case{"'100%'", 100}, Case{"\" -7\"", -7}, Case{"+5", 5}, Case{"", 0},
        Case{"x1", 0}, Case{"- 1", 0}, Case{"''12''", 0}, Case{"2147483647", 2147483647},
        Case{"2147483648", 2147483647}, Case{"-2147483649", -2147483647 - 1},
        Case{"99999999999999999999999", 2147483647}, Case{"'", 0}}) {
    EXPECT_EQ(ParseNumber(c.value), c.number) << c.value;
  }
  EXPECT_EQ(SizeText(468, -60), "width=468 height=-60");
}

}  // namespace
}  // namespace velmora
