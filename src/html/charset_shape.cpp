#include "html/charset_shape.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iconv.h>
#include <mutex>
#include <string_view>

#include "html/converter.h"

namespace velmora {

/// A set whose decoder keeps nothing between characters.
struct ListedShape {
  /// libiconv's canonical name.
  std::string_view name;
  std::once_flag is_learnt{};
  CharsetShape shape{};

  const CharsetShape *Get() noexcept {
    std::call_once(is_learnt, [this]() noexcept { shape.Learn(name.data()); });
    return shape.kind_ == CharsetShape::Kind::NONE ? nullptr : &shape;
  }
};

namespace {

constinit ListedShape listed_shapes[] = {
    // Of one byte a character.
    {"ISO-8859-1"},
    {"US-ASCII"},
    {"ISO-8859-2"},
    {"ISO-8859-3"},
    {"ISO-8859-4"},
    {"ISO-8859-5"},
    {"ISO-8859-6"},
    {"ISO-8859-7"},
    {"ISO-8859-8"},
    {"ISO-8859-9"},
    {"ISO-8859-10"},
    {"ISO-8859-11"},
    {"ISO-8859-13"},
    {"ISO-8859-14"},
    {"ISO-8859-15"},
    {"ISO-8859-16"},
    {"CP1250"},
    {"CP1251"},
    {"CP1252"},
    {"CP1253"},
    {"CP1254"},
    {"CP1256"},
    {"CP1257"},
    {"KOI8-R"},
    {"KOI8-U"},
    {"KOI8-RU"},
    {"KOI8-T"},
    {"CP850"},
    {"CP862"},
    {"CP866"},
    {"CP874"},
    {"CP1131"},
    {"CP1133"},
    {"MACROMAN"},
    {"MACCENTRALEUROPE"},
    {"MACICELAND"},
    {"MACCROATIAN"},
    {"MACROMANIA"},
    {"MACCYRILLIC"},
    {"MACUKRAINE"},
    {"MACGREEK"},
    {"MACTURKISH"},
    {"MACHEBREW"},
    {"MACARABIC"},
    {"MACTHAI"},
    {"HP-ROMAN8"},
    {"NEXTSTEP"},
    {"ARMSCII-8"},
    {"GEORGIAN-ACADEMY"},
    {"GEORGIAN-PS"},
    {"PT154"},
    {"RK1048"},
    {"MULELAO-1"},
    {"TIS-620"},
    {"JIS_X0201"},
    // Of several.
    {"UTF-8"},
    {"EUC-JP"},
    {"EUC-CN"},
    {"EUC-KR"},
    {"SHIFT_JIS"},
    {"CP932"},
    {"GBK"},
    {"CP936"},
    {"BIG5"},
    {"CP950"},
    {"CP949"},
    {"JOHAB"},
    // Of 16 bits.
    {"UTF-16LE"},
    {"UTF-16BE"},
    {"UCS-2LE"},
    {"UCS-2BE"},
};

constexpr unsigned ASCII_END = 0x80;

/// After a byte that is tried, so that no character is cut off.
constexpr std::size_t PADDED = 8;

/// What libiconv makes of the first character of some bytes.
struct FirstCharacter {
  std::size_t consumed;
  bool has_unit;
  unsigned unit;
};

FirstCharacter Try(const Converter &decoder, const std::array<char, PADDED> &bytes) noexcept {
  std::array<unsigned char, 2> unit{};
  const char *input = bytes.data();
  std::size_t input_left = bytes.size();
  char *output = reinterpret_cast<char *>(unit.data());
  std::size_t room_left = unit.size();
  decoder.Convert(input, input_left, output, room_left);
  return {bytes.size() - input_left, room_left == 0, unit[0] | (unsigned{unit[1]} << 8)};
}

/// Must stand for themselves in every set that is more than nothing.
constexpr bool IsOfMarkup(unsigned byte) noexcept {
  return byte < 0x30 || byte == '<' || byte == '=' || byte == '>';
}

}  // namespace

const CharsetShape *CharsetShape::Of(const char *name) noexcept {
  const std::string_view canonical = iconv_canonicalize(name);
  for (ListedShape &listed : listed_shapes) {
    if (listed.name == canonical) return listed.Get();
  }
  return nullptr;
}

void CharsetShape::Learn(const char *name) noexcept {
  const Converter decoder("UCS-2LE", name);
  if (!decoder.IsOpen()) return;
  const std::string_view set = name;
  if (set.ends_with("LE")) {
    LearnUnits(decoder, Kind::UNITS_LITTLE_ENDIAN);
  } else if (set.ends_with("BE")) {
    LearnUnits(decoder, Kind::UNITS_BIG_ENDIAN);
  } else {
    LearnBytes(decoder);
  }
}

void CharsetShape::LearnUnits(const Converter &decoder, Kind kind) noexcept {
  for (unsigned c = 0; c < ASCII_END; ++c) {
    std::array<char, PADDED> bytes{};
    for (std::size_t i = kind == Kind::UNITS_BIG_ENDIAN ? 1 : 0; i < PADDED; i += 2) {
      bytes[i] = static_cast<char>(c);
    }
    const FirstCharacter first = Try(decoder, bytes);
    if (!first.has_unit || first.consumed != 2 || first.unit != c) return;
  }
  kind_ = kind;
}

void CharsetShape::LearnBytes(const Converter &decoder) noexcept {
  std::array<char, PADDED> bytes;
  bytes.fill('a');
  for (unsigned b = 0; b < 256; ++b) {
    bytes[0] = static_cast<char>(b);
    const FirstCharacter first = Try(decoder, bytes);
    is_whole_[b] = first.has_unit && first.consumed == 1;
    units_[b] = static_cast<char16_t>(first.unit);
    is_itself_[b] = b < ASCII_END && is_whole_[b] && first.unit == b;
  }

  begins_.fill(true);
  for (unsigned b = 0; b < 256; ++b) {
    if (is_whole_[b]) continue;
    bytes[0] = static_cast<char>(b);
    for (unsigned c = 0; c < 256; ++c) {
      bytes[1] = static_cast<char>(c);
      if (begins_[c] && Try(decoder, bytes).consumed > 1) begins_[c] = false;
    }
    bytes[1] = 'a';
  }
  is_single_byte_ = std::ranges::all_of(begins_, std::identity());

  bool is_markup_alone = true;
  bool is_ascii_alone = true;
  for (unsigned c = 0; c < ASCII_END; ++c) {
    const bool is_alone = is_itself_[c] && begins_[c];
    is_ascii_alone &= is_alone;
    is_markup_alone &= IsOfMarkup(c) ? is_alone : is_itself_[c] || c == '\\' || c == '~';
  }
  kind_ = is_ascii_alone ? Kind::ASCII_ALONE : is_markup_alone ? Kind::MARKUP_ALONE : Kind::NONE;
}

std::size_t CharsetShape::SafeEnd(std::span<const std::uint8_t> bytes, std::size_t from,
                                  std::size_t tail) const noexcept {
  // More than the longest character and one byte of the one after it.
  static constexpr std::size_t LOOKED_AT = 8;
  const std::size_t size = bytes.size();
  const std::size_t left = size - from;
  if (IsWide()) return from + left / 2 * 2 - std::min(left, LOOKED_AT) / 2 * 2;
  const auto is_ascii = [](std::uint8_t byte) { return byte < ASCII_END; };
  if (is_single_byte_ ||
      std::ranges::all_of(bytes.subspan(size - std::min(LOOKED_AT, left)), is_ascii)) {
    return size;
  }
  std::size_t end = size - std::min(std::max(tail, LOOKED_AT), left);
  while (end > from && !begins_[bytes[end]] && !is_ascii(bytes[end - 1])) --end;
  return end;
}

}  // namespace velmora
