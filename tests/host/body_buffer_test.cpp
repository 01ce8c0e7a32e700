#include "host/body_buffer.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>

#include "support/fake_host.h"

namespace velmora::host {
namespace {

void Replace(IDataBuffer &buffer, std::uint32_t position, std::uint32_t old_length,
             std::string_view text) {
  buffer.Replace(position, old_length, reinterpret_cast<const std::uint8_t *>(text.data()),
                 static_cast<std::uint32_t>(text.size()));
}

std::string_view Held(BodyBuffer &buffer) {
  return {reinterpret_cast<const char *>(buffer.GetData()), buffer.GetSize()};
}

struct ReplaceCase {
  std::uint32_t position;
  std::uint32_t old_length;
  std::string_view text;
  std::uint32_t committed;
  std::string_view held_after;
  std::uint32_t committed_after;
};

TEST(BodyBuffer, ReplaceMovesTheCommitMarkWithTheBytes) {
  const ReplaceCase cases[] = {
      {2, 3, "XY", 10, "01XY56789", 9},       // mark at the end follows
      {2, 3, "XYZW", 5, "01XYZW56789", 6},    // mark right behind the range follows
      {2, 3, "", 4, "0156789", 2},            // mark inside goes to the end of the new bytes
      {2, 3, "XYZW", 3, "01XYZW56789", 6},    //
      {2, 3, "XYZW", 2, "01XYZW56789", 2},    // mark at the start stays
      {2, 3, "XYZW", 1, "01XYZW56789", 1},    //
      {4, 0, "XY", 4, "0123XY456789", 6},     // an insertion at the mark is committed
      {10, 0, "XY", 10, "0123456789XY", 12},  // at the end
      {8, 99, "XY", 10, "01234567XY", 10},    // a length past the end is cut
      {11, 0, "XY", 10, "0123456789", 10},    // a position past the end is ignored
      {0, 10, "", 5, "", 0},                  //
      {5, 0xFFFFFFFF, "", 7, "01234", 5},     //
  };
  for (const ReplaceCase &c : cases) {
    SCOPED_TRACE(::testing::Message() << c.position << " " << c.old_length << " " << c.text);
    BodyBuffer buffer;
    ASSERT_TRUE(buffer.Append("0123456789"));
    buffer.SetCommitted(c.committed);
    Replace(buffer, c.position, c.old_length, c.text);
    EXPECT_EQ(Held(buffer), c.held_after);
    EXPECT_EQ(buffer.GetCommitted(), c.committed_after);
  }
}

TEST(BodyBuffer, AgreesWithAPlainStringUnderRandomOperations) {
  std::mt19937 random(1);
  const auto below = [&](std::uint32_t bound) {
    return static_cast<std::uint32_t>(random()) % bound;
  };
  for (int round = 0; round < 200; ++round) {
    BodyBuffer buffer;
    testing::FakeBuffer model;
    for (int step = 0; step < 300; ++step) {
      const std::string text(below(round % 2 == 0 ? 8 : 3000), static_cast<char>('a' + below(26)));
      const std::uint32_t position = below(buffer.GetSize() + 2);
      switch (below(4)) {
        case 0:
          ASSERT_TRUE(buffer.Append(text));
          model.bytes += text;
          break;
        case 1: {
          const std::uint32_t old_length = below(buffer.GetSize() + 2);
          Replace(buffer, position, old_length, text);
          Replace(model, position, old_length, text);
          break;
        }
        case 2: {
          buffer.SetCommitted(position);
          model.SetCommitted(std::min(position, model.GetSize()));
          break;
        }
        case 3:
          ASSERT_EQ(buffer.TakeCommitted(), model.TakeCommitted());
          break;
      }
      ASSERT_EQ(Held(buffer), model.bytes);
      ASSERT_EQ(buffer.GetCommitted(), model.GetCommitted());
    }
    ASSERT_EQ(buffer.TakeAll(), model.bytes);
  }
}

TEST(BodyBuffer, WithoutRoomForAnEditKeepsTheBytesAndMakesNoLaterOne) {
  BodyBuffer buffer;
  ASSERT_TRUE(buffer.Append("0123456789"));
  buffer.SetCommitted(4);
  const std::uint8_t byte = 'x';
  buffer.Replace(5, 0, &byte, 0xFFFFFFFF);  // more than any buffer holds
  EXPECT_TRUE(buffer.EditFailed());
  buffer.Replace(0, 1, &byte, 1);
  EXPECT_EQ(buffer.TakeCommitted(), "0123");
  EXPECT_EQ(buffer.TakeAll(), "456789");
}

}  // namespace
}  // namespace velmora::host
