// Columns of numbers, packed.
#include "store/columns.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <utility>

namespace velmora::store {
namespace {

TEST(Columns, ComeBackAsTheyWereOrNotAtAll) {
  constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
  const std::pair<Values, std::size_t> cases[] = {
      {{}, 0},         {{-7, -7}, 0},        {{-7, 248}, 1},       {{-7, 249}, 2},
      {{5, 65541}, 4}, {{0, 4294967295}, 4}, {{0, 4294967296}, 8}, {{MOST, LEAST, 0}, 8},
  };
  for (const auto &[values, width] : cases) {
    const std::string bytes = Pack(values);
    EXPECT_EQ(bytes.size(), 9 + width * values.size());
    Values back;
    Unpack(bytes, values.size(), back);
    EXPECT_EQ(back, values);
    EXPECT_THROW(Unpack(bytes.substr(0, bytes.size() - 1), values.size(), back), SQLite::Exception);
    EXPECT_THROW(Unpack(bytes + "x", values.size(), back), SQLite::Exception);
  }
  Values back;
  EXPECT_THROW(Unpack(std::string(8, '\0') + "\3abcdef", 2, back), SQLite::Exception);
}

}  // namespace
}  // namespace velmora::store
