#include "host/bodies/body_buffer.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>

#include "host/bodies/edit_list.h"
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

/// The edited body, made from the original.
std::string Edited(const std::string &original, const EditList &list) {
  std::string made;
  std::uint64_t from = 0;
  for (const EditList::Edit &edit : list.Edits()) {
    EXPECT_TRUE(from == 0 || from < edit.original) << "edits that touch are one";
    EXPECT_TRUE(edit.length != 0 || !edit.bytes.empty());
    made.append(original, from, edit.original - from);
    EXPECT_EQ(made.size(), edit.position);
    made += edit.bytes;
    from = edit.OriginalEnd();
  }
  return made.append(original, from);
}

TEST(BodyBuffer, AgreesWithAPlainStringUnderRandomOperations) {
  std::mt19937 random(1);
  const auto below = [&](std::uint32_t bound) {
    return static_cast<std::uint32_t>(random()) % bound;
  };
  for (int round = 0; round < 200; ++round) {
    EditList edits;
    BodyBuffer buffer(&edits);
    testing::FakeBuffer model;
    std::string original;
    std::string sent;
    for (int step = 0; step < 300; ++step) {
      std::string text(below(round % 2 == 0 ? 8 : 3000), 'a');
      for (char &c : text) c = static_cast<char>('a' + below(26));
      const std::uint32_t position = below(buffer.GetSize() + 2);
      switch (below(4)) {
        case 0:
          ASSERT_TRUE(buffer.Append(text));
          model.Append(text);
          original += text;
          break;
        case 1: {
          const std::uint32_t lengths[] = {below(8), below(buffer.GetSize() + 2), 0xFFFFFFFF};
          const std::uint32_t old_length = lengths[below(3)];
          Replace(buffer, position, old_length, text);
          Replace(model, position, old_length, text);
          break;
        }
        case 2:
          buffer.SetCommitted(position);
          model.SetCommitted(std::min(position, model.GetSize()));
          break;
        case 3:
          ASSERT_EQ(buffer.TakeCommitted(), model.bytes.substr(0, model.committed));
          sent += model.TakeCommitted();
          break;
      }
      ASSERT_EQ(Held(buffer), model.Held());
      ASSERT_EQ(buffer.GetCommitted(), model.GetCommitted());
    }
    ASSERT_EQ(buffer.TakeAll(), model.Held());
    ASSERT_EQ(Edited(original, edits), sent + model.bytes);
  }
}

TEST(BodyBuffer, WithoutRoomForAnEditKeepsTheBytesAndMakesNoLaterOne) {
  BodyBuffer buffer;
  ASSERT_TRUE(buffer.Append("0123456789"));
  buffer.SetCommitted(4);
  const std::uint8_t byte = 'x';
  buffer.Replace(5, 0, &byte, 0xFFFFFFFF);  // more than any buffer holds
  EXPECT_EQ(buffer.EditFailure(), StopReason::OUT_OF_MEMORY);
  buffer.Replace(0, 1, &byte, 1);
  EXPECT_EQ(buffer.TakeCommitted(), "0123");
  EXPECT_EQ(buffer.TakeAll(), "456789");
}

}  // namespace
}  // namespace velmora::host
