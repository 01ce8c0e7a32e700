#include "html/encoding.h"

#include <array>
#include <gtest/gtest.h>
#include <iconv.h>
#include <ostream>

#include "html/converter.h"
#include "html/unit_text.h"
#include "support/log_recorder.h"

namespace velmora {
namespace {

using testing::LogRecorder;

std::span<const std::uint8_t> Bytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()};
}

struct DecodeCase {
  const char *set;
  std::string_view bytes;
  std::int32_t consumed;
  bool has_unit;
  char16_t unit;
  const char *log;

  friend void PrintTo(const DecodeCase &c, std::ostream *out) {
    *out << c.set << " of " << ::testing::PrintToString(c.bytes);
  }
};

using namespace std::string_view_literals;

const DecodeCase DECODE_CASES[] = {
    {"ISO-8859-1", "\xE9z"sv, 1, true, 0xE9, ""},
    {"ISO-8859-1", "a"sv, 1, true, 'a', ""},
    {"UTF-8", "\xC3\xA9x"sv, 2, true, 0xE9, ""},
    {"UTF-8", "\xE2\x82"sv, 0, false, 0, "* UTF-8: incomplete input.\n"},
    {"UTF-8", "\x82z"sv, -1, false, 0, "*** UTF-8: INVALID INPUT (82).\n"},
    // Outside the 16-bit range: a replacement, the page stays aligned.
    {"UTF-8", "\xF0\x9F\x98\x80"sv, 4, true, 0xFFFD, "1 non-reversible conversions\n"},
    // The bad byte after a character is noticed one character early.
    {"UTF-8", "a\xFFz"sv, 1, true, 'a', "*** UTF-8: INVALID INPUT (FF).\n"},
    // The character in front of an incomplete one waits too.
    {"UTF-8", "a\xE2\x82"sv, 0, false, 0, "* UTF-8: incomplete input.\n"},
    {"UTF-8", "\xE2<"sv, 0, false, 0, "* UTF-8: incomplete input.\n"},
    {"UTF-8", "\xE2<a"sv, -1, false, 0, "*** UTF-8: INVALID INPUT (E2).\n"},
    {"UTF-16LE", "<\0h\0"sv, 2, true, '<', ""},
    {"UTF-16BE", "\0<"sv, 2, true, '<', ""},
    {"UTF-16LE", "<"sv, 0, false, 0, "* UTF-16LE: incomplete input.\n"},
    {"SHIFT_JIS", "\x82\xA0<"sv, 2, true, 0x3042, ""},
    {"windows-1252", "\x80"sv, 1, true, 0x20AC, ""},
    // A shift sequence is consumed without a unit, whatever is after it.
    {"ISO-2022-JP", "\x1B$B"sv, 3, false, 0, ""},
    {"ISO-2022-JP", "\x1B(B<x"sv, 3, false, 0, ""},
    {"csISO2022KR", "\x1B$)C\x0E"sv, 4, false, 0, ""},
    {"HZ", "~{VP~}"sv, 2, false, 0, ""},
    {"UTF-7", "+AGE-"sv, 1, false, 0, ""},
    // ... nor is one taken in with the character before it.
    {"ISO-2022-JP", "a\x1B$B"sv, 1, true, 'a', ""},
    {"ISO-2022-JP", "\x1B$"sv, 0, false, 0, "* ISO-2022-JP: incomplete input.\n"},
    {"no-such-set", "a"sv, -1, false, 0, ""},
};

/// The cases are what this version of libiconv answers; another may answer otherwise.
constexpr int PINNED_LIBICONV = 0x010E;

class Decoding : public ::testing::TestWithParam<DecodeCase> {
 protected:
  void SetUp() override {
    if (_libiconv_version != PINNED_LIBICONV) GTEST_SKIP() << "another libiconv";
  }
};

TEST_P(Decoding, OneCharacterAtATime) {
  const DecodeCase &c = GetParam();
  const LogRecorder log;
  CEncoding encoding(c.set);
  LogRecorder::Clear();
  const DecodedChar decoded = encoding.DecodeChar(Bytes(c.bytes));
  EXPECT_EQ(decoded.consumed, c.consumed);
  EXPECT_EQ(decoded.has_unit, c.has_unit);
  EXPECT_EQ(decoded.has_unit ? decoded.unit : 0, c.unit);
  EXPECT_EQ(LogRecorder::Text(), c.log);
}
INSTANTIATE_TEST_SUITE_P(Encoding, Decoding, ::testing::ValuesIn(DECODE_CASES));

TEST(Encoding, ComposingDecoderGivesALetterOutWithTheNext) {
  CEncoding encoding("CP1258");
  std::string_view rest = "ab\xEC";
  std::u16string units;
  while (!rest.empty()) {
    const DecodedChar decoded = encoding.DecodeChar(Bytes(rest));
    ASSERT_GE(decoded.consumed, 0);
    ASSERT_FALSE(decoded.IsIncomplete());
    rest.remove_prefix(static_cast<std::size_t>(decoded.consumed));
    if (decoded.has_unit) units += decoded.unit;
  }
  EXPECT_EQ(units.substr(0, 1), u"a");
}

TEST(Encoding, TextIsEncodedAndCutWhereItDoesNotConvert) {
  struct Case {
    const char *set;
    std::string_view text, bytes;
  };
  for (const Case &c :
       {Case{"ISO-8859-1", "\xC3\xA9", "\xE9"}, Case{"UTF-16LE", "<a>"sv, "<\0a\0>\0"sv},
        Case{"ISO-8859-1",
             "ab\xE3\x81\x82"
             "cd",
             "ab"},
        Case{"UTF-8", "", ""},
        // Three bytes of UTF-8 have room for six.
        Case{"UTF-32BE", "abc"sv, "\0\0\0a"sv}, Case{"no-such-set", "x", ""}}) {
    EXPECT_EQ(CEncoding(c.set).Encode(c.text), c.bytes) << c.set << " of " << c.text;
  }
}

TEST(Encoding, LifeIsTraced) {
  struct Case {
    const char *set, *log;
  };
  for (const Case &c :
       {Case{"UTF-8", "CEncoding(UTF-8)\n~CEncoding(UTF-8)\n"}, Case{"iso-8859-1", ""},
        Case{"x?",
             "CEncoding(x?)\n*** CEncoding(x?): iconv_open failed\n"
             "*** CEncoding(x?): iconv_open failed\n~CEncoding(x?)\n"}}) {
    const LogRecorder log;
    { EXPECT_EQ(CEncoding(c.set).IsValid(), c.set != std::string_view("x?")); }
    EXPECT_EQ(LogRecorder::Text(), c.log);
  }
}

TEST(UnitText, GivesWhatTheProcessWideConverterGives) {
  const UnitConverter converter;
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    std::array<char, 8> room{};
    const std::size_t length =
        converter.UCS2ToUTF8(static_cast<char16_t>(unit), room.data(), room.size());
    std::string text;
    AppendUtf8(text, static_cast<char16_t>(unit));
    ASSERT_EQ(text, std::string(room.data(), length)) << std::hex << unit;
  }
}

}  // namespace
}  // namespace velmora
