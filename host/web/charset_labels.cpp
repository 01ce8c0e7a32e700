// The labels are those of the WHATWG Encoding Standard. Left out are the ones that browsers refuse
// to read ("iso-2022-kr", "hz-gb-2312", ...).
#include "host/web/charset_labels.h"

#include <algorithm>
#include <array>

#include "base/ascii.h"

namespace velmora::host {
namespace {

struct Encoding {
  std::string_view converter_name;
  /// Separated by blanks.
  std::string_view labels;
};

// clang-format off
constexpr Encoding ENCODINGS[] = {
    {"UTF-8", "unicode-1-1-utf-8 utf-8 utf8"},
    {"CP866", "866 cp866 csibm866 ibm866"},
    {"ISO-8859-2",
     "csisolatin2 iso-8859-2 iso-ir-101 iso8859-2 iso88592 iso_8859-2 iso_8859-2:1987 l2 latin2"},
    {"ISO-8859-3",
     "csisolatin3 iso-8859-3 iso-ir-109 iso8859-3 iso88593 iso_8859-3 iso_8859-3:1988 l3 latin3"},
    {"ISO-8859-4",
     "csisolatin4 iso-8859-4 iso-ir-110 iso8859-4 iso88594 iso_8859-4 iso_8859-4:1988 l4 latin4"},
    {"ISO-8859-5",
     "csisolatincyrillic cyrillic iso-8859-5 iso-ir-144 iso8859-5 iso88595 iso_8859-5 "
     "iso_8859-5:1988"},
    {"ISO-8859-6",
     "arabic asmo-708 csiso88596e csiso88596i csisolatinarabic ecma-114 iso-8859-6 iso-8859-6-e "
     "iso-8859-6-i iso-ir-127 iso8859-6 iso88596 iso_8859-6 iso_8859-6:1987"},
    {"ISO-8859-7",
     "csisolatingreek ecma-118 elot_928 greek greek8 iso-8859-7 iso-ir-126 iso8859-7 iso88597 "
     "iso_8859-7 iso_8859-7:1987 sun_eu_greek"},
    {"ISO-8859-8",
     "csiso88598e csisolatinhebrew hebrew iso-8859-8 iso-8859-8-e iso-ir-138 iso8859-8 iso88598 "
     "iso_8859-8 iso_8859-8:1988 visual csiso88598i iso-8859-8-i logical"},
    {"ISO-8859-10", "csisolatin6 iso-8859-10 iso-ir-157 iso8859-10 iso885910 l6 latin6"},
    {"ISO-8859-13", "iso-8859-13 iso8859-13 iso885913"},
    {"ISO-8859-14", "iso-8859-14 iso8859-14 iso885914"},
    {"ISO-8859-15", "csisolatin9 iso-8859-15 iso8859-15 iso885915 iso_8859-15 l9"},
    {"ISO-8859-16", "iso-8859-16"},
    {"KOI8-R", "cskoi8r koi koi8 koi8-r koi8_r"},
    {"KOI8-RU", "koi8-ru koi8-u"},
    {"MacRoman", "csmacintosh mac macintosh x-mac-roman"},
    {"CP874", "dos-874 iso-8859-11 iso8859-11 iso885911 tis-620 windows-874"},
    {"CP1250", "cp1250 windows-1250 x-cp1250"},
    {"CP1251", "cp1251 windows-1251 x-cp1251"},
    {"CP1252",
     "ansi_x3.4-1968 ascii cp1252 cp819 csisolatin1 ibm819 iso-8859-1 iso-ir-100 iso8859-1 "
     "iso88591 iso_8859-1 iso_8859-1:1987 l1 latin1 us-ascii windows-1252 x-cp1252"},
    {"CP1253", "cp1253 windows-1253 x-cp1253"},
    {"CP1254",
     "cp1254 csisolatin5 iso-8859-9 iso-ir-148 iso8859-9 iso88599 iso_8859-9 iso_8859-9:1989 l5 "
     "latin5 windows-1254 x-cp1254"},
    {"CP1255", "cp1255 windows-1255 x-cp1255"},
    {"CP1256", "cp1256 windows-1256 x-cp1256"},
    {"CP1257", "cp1257 windows-1257 x-cp1257"},
    {"CP1258", "cp1258 windows-1258 x-cp1258"},
    {"MacUkraine", "x-mac-cyrillic x-mac-ukrainian"},
    {"GB18030",
     "chinese csgb2312 csiso58gb231280 gb2312 gb_2312 gb_2312-80 gbk iso-ir-58 x-gbk gb18030"},
    {"BIG5-HKSCS", "big5 big5-hkscs cn-big5 csbig5 x-x-big5"},
    {"EUC-JP", "cseucpkdfmtjapanese euc-jp x-euc-jp"},
    {"CP50221", "csiso2022jp iso-2022-jp"},
    {"CP932", "csshiftjis ms932 ms_kanji shift-jis shift_jis sjis windows-31j x-sjis"},
    {"CP949",
     "cseuckr csksc56011987 euc-kr iso-ir-149 korean ks_c_5601-1987 ks_c_5601-1989 ksc5601 "
     "ksc_5601 windows-949"},
    {"UTF-16BE", "utf-16be unicodefffe"},
    {"UTF-16LE", "utf-16 utf-16le csunicode iso-10646-ucs-2 ucs-2 unicode unicodefeff"},
    {"ISO-8859-1", "x-user-defined"},
};
// clang-format on

struct Label {
  std::string_view label;
  std::string_view converter_name;
};

template <class Visit>
constexpr void ForEachLabel(Visit visit) {
  for (const auto &[name, labels] : ENCODINGS) {
    for (std::size_t begin = 0; begin < labels.size();) {
      const std::size_t end = std::min(labels.find(' ', begin), labels.size());
      visit(Label{labels.substr(begin, end - begin), name});
      begin = end + 1;
    }
  }
}

constexpr std::size_t CountLabels() {
  std::size_t count = 0;
  ForEachLabel([&](Label) { ++count; });
  return count;
}

constexpr auto SortedLabels() {
  std::array<Label, CountLabels()> labels{};
  std::size_t count = 0;
  ForEachLabel([&](Label label) { labels[count++] = label; });
  std::ranges::sort(labels, {}, &Label::label);
  return labels;
}

constexpr auto LABELS = SortedLabels();

constexpr std::size_t LONGEST_LABEL = std::ranges::max_element(LABELS, {}, [](const Label &label) {
                                        return label.label.size();
                                      })->label.size();

}  // namespace

std::string_view ConverterName(std::string_view label) noexcept {
  label = base::TrimWebSpace(label);
  if (label.size() > LONGEST_LABEL) return {};
  std::array<char, LONGEST_LABEL> lower{};
  std::ranges::transform(label, lower.begin(), base::ToLowerAscii);
  const std::string_view wanted(lower.data(), label.size());
  const auto found = std::ranges::lower_bound(LABELS, wanted, {}, &Label::label);
  return found != LABELS.end() && found->label == wanted ? found->converter_name
                                                         : std::string_view{};
}

}  // namespace velmora::host
