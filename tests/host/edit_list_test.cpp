#include "host/edit_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "host/body_buffer.h"

namespace velmora::host {
namespace {

using ::testing::ElementsAre;
using Edit = EditList::Edit;

struct Step {
  std::uint64_t position;
  std::uint32_t length;
  std::string bytes;
};

EditList After(const std::vector<Step> &steps) {
  EditList list;
  for (const Step &step : steps) list.OnReplace(step.position, step.length, step.bytes);
  return list;
}

TEST(EditList, TellsEditsAgainstTheOriginal) {
  const struct {
    std::string what;
    std::vector<Step> steps;
    std::vector<Edit> edits;
  } cases[] = {
      {"apart", {{2, 3, "x"}, {6, 1, "yy"}}, {{2, 3, 2, "x"}, {8, 1, 6, "yy"}}},
      {"backwards", {{8, 1, "yy"}, {2, 3, "x"}}, {{2, 3, 2, "x"}, {8, 1, 6, "yy"}}},
      {"touching", {{2, 1, "a"}, {3, 1, "b"}}, {{2, 2, 2, "ab"}}},
      {"inside an insertion", {{4, 0, "abcd"}, {5, 2, "X"}}, {{4, 0, 4, "aXd"}}},
      {"over an insertion's end", {{4, 0, "abcd"}, {6, 4, "X"}}, {{4, 2, 4, "abX"}}},
      {"over an insertion's begin", {{4, 0, "abcd"}, {2, 4, "X"}}, {{2, 2, 2, "Xcd"}}},
      {"over two edits", {{2, 1, "a"}, {6, 1, "b"}, {1, 7, ""}}, {{1, 7, 1, ""}}},
      {"an insertion taken back", {{4, 0, "ab"}, {4, 2, ""}}, {}},
  };
  for (const auto &c : cases) EXPECT_EQ(After(c.steps).Edits(), c.edits) << c.what;
}

TEST(EditList, MakesTheEditedBodyFromTheOriginal) {
  std::mt19937 random(7);
  const auto up_to = [&](std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(0, most)(random);
  };
  for (int round = 0; round < 300; ++round) {
    std::string original(up_to(40), 'o');
    for (std::size_t i = 0; i < original.size(); ++i) original[i] = static_cast<char>('a' + i % 26);
    std::string edited = original;
    EditList list;
    for (std::size_t steps = up_to(12); steps > 0; --steps) {
      const std::size_t position = up_to(edited.size());
      const std::size_t length = up_to(std::min<std::size_t>(edited.size() - position, 8));
      const std::string bytes(up_to(6), static_cast<char>('A' + steps));
      edited.replace(position, length, bytes);
      list.OnReplace(position, static_cast<std::uint32_t>(length), bytes);
    }
    std::string made;
    std::uint64_t from = 0;
    for (const Edit &edit : list.Edits()) {
      ASSERT_LE(from, edit.original);
      made.append(original, from, edit.original - from);
      ASSERT_EQ(made.size(), edit.position);
      made += edit.bytes;
      from = edit.OriginalEnd();
    }
    made.append(original, from);
    ASSERT_EQ(made, edited) << "round " << round;
  }
}

TEST(EditList, PositionsGoOnBehindWhatIsSentOn) {
  EditList list;
  BodyBuffer buffer(&list);
  buffer.Append("0123456789");
  buffer.SetCommitted(6);
  buffer.TakeCommitted();
  const std::string_view bytes = "xyz";
  buffer.Replace(1, 99, reinterpret_cast<const std::uint8_t *>(bytes.data()), 3);
  buffer.Replace(50, 1, nullptr, 0);
  EXPECT_THAT(list.Edits(), ElementsAre(Edit{7, 3, 7, "xyz"}));
}

}  // namespace
}  // namespace velmora::host
