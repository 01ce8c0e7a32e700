#include "host/web/charset_labels.h"

#include <gtest/gtest.h>
#include <iconv.h>
#include <string>
#include <string_view>

namespace velmora::host {
namespace {

/// What the plug-in's converter reads; "?" and the name when it does not know the set.
std::string InUtf8(std::string_view converter_name, std::string_view bytes) {
  const std::string name(converter_name);
  const iconv_t converter = libiconv_open("UTF-8", name.c_str());
  if (converter == reinterpret_cast<iconv_t>(-1)) return "? " + name;
  std::string text(4 * bytes.size() + 4, '\0');
  const char *input = bytes.data();
  std::size_t input_left = bytes.size();
  char *output = text.data();
  std::size_t room_left = text.size();
  libiconv(converter, &input, &input_left, &output, &room_left);
  libiconv(converter, nullptr, nullptr, &output, &room_left);
  libiconv_close(converter);
  text.resize(text.size() - room_left);
  return text;
}

TEST(ConverterName, ReadsUnderALabelWhatBrowsersRead) {
  using namespace std::string_view_literals;
  const std::tuple<std::string_view, std::string_view, std::string_view> cases[] = {
      {"utf8", "\xC3\xA9", "é"},
      {"unicode11utf8", "\xC3\xA9", "é"},
      {"x-unicode20utf8", "\xC3\xA9", "é"},
      {" UTF-8\t", "\xC3\xA9", "é"},
      {"cp866", "\x8F", "П"},
      {"latin2", "\xB1", "ą"},
      {"l3", "\xA1", "Ħ"},
      {"iso_8859-4:1988", "\xA2", "ĸ"},
      {"cyrillic", "\xBF", "П"},
      {"asmo-708", "\xC7", "ا"},
      {"iso-8859-6-i", "\xC7", "ا"},
      {"sun_eu_greek", "\xD9", "Ω"},
      {"iso-8859-8-i", "\xE0", "א"},
      {"logical", "\xE0", "א"},
      {"latin6", "\xA2", "Ē"},
      {"iso885913", "\xA8", "Ø"},
      {"iso8859-14", "\xA1", "Ḃ"},
      {"l9", "\xA4", "€"},
      {"iso-8859-16", "\xAA", "Ș"},
      {"koi", "\xF0", "П"},
      {"koi8-u", "\xAE", "ў"},
      {"x-mac-roman", "\xA5", "•"},
      {"tis-620", "\x80\xA1", "€ก"},
      {"x-cp1250", "\x8A", "Š"},
      {"windows-1251", "\xCF", "П"},
      {"iso-8859-1", "\x80\x93\xE9", "€“é"},
      {"us-ascii", "\x80\xE9", "€é"},
      {"cp1253", "\xD9", "Ω"},
      {"latin5", "\x80\xDD", "€İ"},
      {"windows-1255", "\xE0", "א"},
      {"x-cp1256", "\xC7", "ا"},
      {"cp1257", "\xA8", "Ø"},
      {"windows-1258", "\xFE", "₫"},
      {"x-mac-ukrainian", "\xA2", "Ґ"},
      {"gb2312", "\xC4\xE3\x81\x30\x89\x37", "你Þ"},
      {"x-gbk", "\xC4\xE3\x81\x40", "你丂"},
      {"chinese", "\xC4\xE3\x81\x40", "你丂"},
      {"x-x-big5", "\xA7\x41\x87\x40", "你䏰"},
      {"x-euc-jp", "\xA4\xA2\x8F\xB0\xA1", "あ丂"},
      {"csiso2022jp", "\x1B$B$\"\x1B(I1\x1B(B", "あｱ"},
      {"x-sjis", "\x82\xA0\x87\x40", "あ①"},
      {"windows-31j", "\x82\xA0\xFA\x40", "あⅰ"},
      {"windows-949", "\xB0\xA1\x81\x41", "가갂"},
      {"ks_c_5601-1987", "\xB0\xA1\x81\x41", "가갂"},
      {"utf-16", "\xE9\x00"sv, "é"},
      {"utf-16be", "\x00\xE9"sv, "é"},
      {"x-user-defined", "a", "a"},
  };
  for (const auto &[label, bytes, text] : cases) {
    const std::string_view name = ConverterName(label);
    EXPECT_EQ(InUtf8(name, bytes), text) << label;
    EXPECT_EQ(name.find_first_of(":;, \"'"), name.npos) << name << " stands in a header";
  }
}

TEST(ConverterName, IsEmptyForWhatBrowsersDoNotRead) {
  for (const std::string_view label :
       {"", "utf", "utf-7", "utf-32", "ucs-2be", "iso-2022-kr", "hz-gb-2312", "utf-8x", "x",
        "a-label-that-is-longer-than-any-other"}) {
    EXPECT_EQ(ConverterName(label), "") << label;
  }
}

}  // namespace
}  // namespace velmora::host
