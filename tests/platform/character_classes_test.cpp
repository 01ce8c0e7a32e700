#include "platform/character_classes.h"

#include <gtest/gtest.h>
#include <string>

namespace velmora::platform {
namespace {

/// "L" a letter, "D" a digit that is no letter, "S" white space, "-" none of them.
char ClassOf(char16_t unit) {
  EXPECT_FALSE(IsSpace(unit) && IsAlphanumeric(unit));
  EXPECT_TRUE(!IsLetter(unit) || IsAlphanumeric(unit));
  if (IsSpace(unit)) return 'S';
  if (IsLetter(unit)) return 'L';
  return IsAlphanumeric(unit) ? 'D' : '-';
}

TEST(CharacterClasses, OfAscii) {
  std::string classes;
  for (char16_t unit = 0; unit < 0x80; ++unit) classes += ClassOf(unit);
  EXPECT_EQ(classes,
            "---------SSSSS------------------"
            "S---------------DDDDDDDDDD------"
            "-LLLLLLLLLLLLLLLLLLLLLLLLLL-----"
            "-LLLLLLLLLLLLLLLLLLLLLLLLLL-----");
}

TEST(CharacterClasses, BeyondAscii) {
  constexpr struct {
    char16_t first, last;
    char expected;
  } CASES[] = {
      {0x0080, 0x0084, '-'}, {0x0085, 0x0085, 'S'},
      {0x00A0, 0x00A0, 'S'}, {0x00AA, 0x00AA, 'L'},
      {0x00B2, 0x00B3, '-'},  // superscripts are no decimal digits
      {0x00B5, 0x00B5, 'L'}, {0x00D7, 0x00D7, '-'},
      {0x00D8, 0x00F6, 'L'}, {0x0153, 0x0153, 'L'},
      {0x0300, 0x036F, '-'}, {0x03B1, 0x03C9, 'L'},
      {0x0430, 0x044F, 'L'}, {0x05D0, 0x05EA, 'L'},
      {0x0660, 0x0669, 'D'}, {0x0966, 0x096F, 'D'},
      {0x1680, 0x1680, 'S'}, {0x180E, 0x180E, '-'},  // no white space any more
      {0x2000, 0x200A, 'S'}, {0x200B, 0x200F, '-'},
      {0x2028, 0x2029, 'S'}, {0x202F, 0x202F, 'S'},
      {0x205F, 0x205F, 'S'}, {0x2160, 0x2163, '-'},  // letter-like numbers are neither
      {0x24B6, 0x24E9, '-'}, {0x3000, 0x3000, 'S'},
      {0x3007, 0x3007, '-'}, {0x3041, 0x3096, 'L'},
      {0x4E00, 0x9FFF, 'L'}, {0xAC00, 0xD7A3, 'L'},
      {0xD800, 0xDFFF, '-'}, {0xE000, 0xF8FF, '-'},
      {0xFEFF, 0xFEFF, '-'}, {0xFF10, 0xFF19, 'D'},
      {0xFF21, 0xFF3A, 'L'}, {0xFFFD, 0xFFFF, '-'},
  };
  for (const auto &[first, last, expected] : CASES) {
    for (int unit = first; unit <= last; ++unit) {
      EXPECT_EQ(ClassOf(static_cast<char16_t>(unit)), expected) << std::hex << unit;
    }
  }
}

TEST(CharacterClasses, HaveAsManyMembersAsUnicodeSays) {
  int letters = 0, digits = 0, spaces = 0;
  for (int unit = 0; unit <= 0xFFFF; ++unit) {
    const char kind = ClassOf(static_cast<char16_t>(unit));
    letters += kind == 'L';
    digits += kind == 'D';
    spaces += kind == 'S';
  }
  EXPECT_EQ(letters, 48965);
  EXPECT_EQ(digits, 370);
  EXPECT_EQ(spaces, 25);
}

}  // namespace
}  // namespace velmora::platform
