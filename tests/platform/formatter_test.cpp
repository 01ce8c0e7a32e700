#include "platform/formatter.h"

#include <climits>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>

namespace velmora::platform {
namespace {

std::string Formatted(const char *format, ...) {
  char output[FORMAT_LIMIT + 1];
  std::va_list arguments;
  va_start(arguments, format);
  const std::size_t length = Format(output, format, arguments);
  va_end(arguments);
  EXPECT_EQ(output[length], '\0');
  return {output, length};
}

template <class Argument>
std::string Printed(const char *format, Argument argument) {
  char output[FORMAT_LIMIT + 1];
  std::snprintf(output, sizeof output, format, argument);
  return output;
}

TEST(Formatter, AgreesWithTheCLibraryOnNumbers) {
  for (const char *format :
       {"%d", "%5d|", "%05d|", "%-5d|", "%-05d|", "%.3d", "%8.3d|", "%-8.3d|", "%08.3d|", "a%db",
        "%u", "%-12u|", "%x", "%X", "%02X", "%04X|", "%8x|", "%.6x"}) {
    for (const int value : {0, 1, -1, 9, 10, -42, 255, 123456, INT_MAX, INT_MIN}) {
      EXPECT_EQ(Formatted(format, value), Printed(format, value)) << format << " of " << value;
    }
  }
}

TEST(Formatter, AgreesWithTheCLibraryOnText) {
  for (const char *format : {"%s", "%6s|", "%-6s|", "%.2s|", "%.0s|", "%6.2s|", "%-6.2s|", "a%sb",
                             "%1500s", "%2000s", "%-2000s", "%.2000s", "%s\n"}) {
    for (const std::string &text :
         {std::string(), std::string("abc"), std::string("caf\xE9 \xFF"), std::string(1030, 'x')}) {
      EXPECT_EQ(Formatted(format, text.c_str()), Printed(format, text.c_str())) << format;
    }
  }
  for (const char *format : {"%c", "%4c|", "%-4c|"}) {
    EXPECT_EQ(Formatted(format, 'x'), Printed(format, 'x'));
    EXPECT_EQ(Formatted(format, 0xE9), Printed(format, 0xE9));
  }
}

TEST(Formatter, ReadsNoFurtherThanThePrecision) {
  const char unterminated[] = {'a', 'b', 'c'};
  EXPECT_EQ(Formatted("%.3s", unterminated), "abc");
}

TEST(Formatter, HasItsOwnAnswersWhereTheCLibraryHasNone) {
  const char *const null = nullptr;
  EXPECT_EQ(Formatted("<%s>", null), "<(null)>");
  EXPECT_EQ(Formatted("<%c>", 0), "<>");
  EXPECT_EQ(Formatted("100%% %q %5q %"), "100% %q %5q %");
  EXPECT_EQ(Formatted("%d %s %u %c%c %02x", -7, "of", 9U, 'o', 'k', 10), "-7 of 9 ok 0a");
}

TEST(Formatter, CutsAtItsLimit) {
  const std::string limit(FORMAT_LIMIT, 'x');
  EXPECT_EQ(Formatted("%s\n", limit.c_str()), limit);
  EXPECT_EQ(Formatted("%s%d", limit.substr(1).c_str(), 42), limit.substr(1) + "4");
  EXPECT_EQ(Formatted("%99999999999999999999d", 1), std::string(FORMAT_LIMIT, ' '));
  EXPECT_EQ(Formatted((limit + "tail").c_str()), limit);
}

}  // namespace
}  // namespace velmora::platform
