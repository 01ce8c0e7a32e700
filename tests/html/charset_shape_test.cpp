// What a shape says of a character set is what libiconv answers, for all bytes that could belie it.
#include "html/charset_shape.h"

#include <array>
#include <gtest/gtest.h>
#include <iconv.h>
#include <string>
#include <string_view>
#include <vector>

#include "html/encoding.h"
#include "support/charsets.h"

namespace velmora {
namespace {

using Kind = CharsetShape::Kind;

/// What libiconv itself answers.
class Plain {
 public:
  explicit Plain(const std::string &set) : off_(true), encoding_(set) {}
  DecodedChar operator()(const std::vector<std::uint8_t> &bytes) {
    return encoding_.DecodeChar(bytes);
  }

 private:
  testing::FastPathOff off_;
  CEncoding encoding_;
};

/// An alias says no more than its set does.
std::vector<std::string> CanonicalSets() {
  std::vector<std::string> sets = testing::AllSets();
  std::erase_if(sets,
                [](const std::string &set) { return set != iconv_canonicalize(set.c_str()); });
  return sets;
}

void ExpectKnown(const CharsetShape &shape, Plain &plain, const std::vector<std::uint8_t> &bytes) {
  const CharsetShape::Answer answer = shape.Decode(bytes);
  if (!answer.is_known) return;
  const DecodedChar decoded = plain(bytes);
  ASSERT_EQ(answer.decoded.consumed, decoded.consumed) << ::testing::PrintToString(bytes);
  ASSERT_EQ(decoded.has_unit, true) << ::testing::PrintToString(bytes);
  ASSERT_EQ(answer.decoded.unit, decoded.unit) << ::testing::PrintToString(bytes);
}

TEST(CharsetShape, KnowsTheAnswersOfAllPairsOfBytes) {
  for (const std::string &set : CanonicalSets()) {
    const CharsetShape *const shape = CharsetShape::Of(set.c_str());
    if (shape == nullptr || shape->IsWide()) continue;
    SCOPED_TRACE(set);
    Plain plain(set);
    for (unsigned first = 0; first < 256; ++first) {
      const auto b = static_cast<std::uint8_t>(first);
      ExpectKnown(*shape, plain, {b});
      for (unsigned second = 0; second < 256; ++second) {
        const auto c = static_cast<std::uint8_t>(second);
        ExpectKnown(*shape, plain, {b, c});
        ExpectKnown(*shape, plain, {b, c, 'a'});
        const std::int32_t consumed = plain({b, c, 'a', 'a', 'a', 'a', 'a'}).consumed;
        if (shape->IsSingleByte()) {
          ASSERT_LE(consumed, 1);
        }
        if (shape->BeginsCharacter(c)) {
          ASSERT_LE(consumed, 1) << first << " " << second;
        }
      }
      if (HasFatalFailure()) return;
    }
  }
}

TEST(CharsetShape, NoCharacterOfSeveralBytesHoldsAByteThatBeginsOne) {
  for (const std::string &set : CanonicalSets()) {
    const CharsetShape *const shape = CharsetShape::Of(set.c_str());
    if (shape == nullptr || shape->IsWide() || shape->IsSingleByte()) continue;
    SCOPED_TRACE(set);
    Plain plain(set);
    std::vector<std::uint8_t> bytes(8, 'a');
    for (unsigned b = 0x80; b < 256; ++b) {
      for (unsigned c = 0; c < 256; ++c) {
        bytes[0] = static_cast<std::uint8_t>(b);
        bytes[1] = static_cast<std::uint8_t>(c);
        if (shape->BeginsCharacter(bytes[1])) continue;
        for (unsigned d = 0; d < 256; ++d) {
          bytes[2] = static_cast<std::uint8_t>(d);
          if (shape->BeginsCharacter(bytes[2])) {
            ASSERT_LE(plain(bytes).consumed, 2) << b << " " << c << " " << d;
          }
        }
      }
    }
  }
}

TEST(CharsetShape, KnowsTheAnswersOfAllPairsOfUnits) {
  for (const char *set : {"UTF-16LE", "UTF-16BE", "UCS-2LE", "UCS-2BE"}) {
    const CharsetShape *const shape = CharsetShape::Of(set);
    ASSERT_NE(shape, nullptr);
    Plain plain(set);
    for (unsigned c = 0; c < 0x10000; ++c) {
      const std::array<std::uint8_t, 2> unit{static_cast<std::uint8_t>(c >> 8),
                                             static_cast<std::uint8_t>(c & 0xFF)};
      ExpectKnown(*shape, plain, {unit[0], unit[1]});
      ExpectKnown(*shape, plain, {unit[0], unit[1], unit[0]});
      for (const auto &behind : {unit, std::array<std::uint8_t, 2>{unit[1], unit[0]}}) {
        ExpectKnown(*shape, plain, {'a', 0, behind[0], behind[1]});
        ExpectKnown(*shape, plain, {0, 'a', behind[0], behind[1], 0xDC});
      }
      if (HasFatalFailure()) return;
    }
  }
}

/// What pages are in is read fast, under any of its names; what cannot be is left alone.
TEST(CharsetShape, OfTheSetsThatPagesAreIn) {
  const std::pair<const char *, Kind> kinds[] = {{"iso-8859-1", Kind::ASCII_ALONE},
                                                 {"utf-8", Kind::ASCII_ALONE},
                                                 {"windows-1251", Kind::ASCII_ALONE},
                                                 {"koi8-r", Kind::ASCII_ALONE},
                                                 {"euc-jp", Kind::ASCII_ALONE},
                                                 {"GB2312", Kind::ASCII_ALONE},
                                                 {"euc-kr", Kind::ASCII_ALONE},
                                                 {"Shift_JIS", Kind::MARKUP_ALONE},
                                                 {"gbk", Kind::MARKUP_ALONE},
                                                 {"Big5", Kind::MARKUP_ALONE},
                                                 {"utf-16le", Kind::UNITS_LITTLE_ENDIAN}};
  for (const auto &[set, kind] : kinds) {
    const CharsetShape *const shape = CharsetShape::Of(set);
    ASSERT_NE(shape, nullptr) << set;
    EXPECT_EQ(shape->kind(), kind) << set;
  }
  for (const char *set : {"UTF-16", "UTF-7", "ISO-2022-JP", "HZ", "CP1255", "CP1258", "TCVN",
                          "BIG5-HKSCS", "GB18030", "EUC-TW", "UCS-4LE", "no-such-set"}) {
    EXPECT_EQ(CharsetShape::Of(set), nullptr) << set;
  }
}

}  // namespace
}  // namespace velmora
