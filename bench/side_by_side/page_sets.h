// The pages in other character sets.
//
// The pages' own declarations of a set are spoilt, so that all pages of a set are read in it from
// end to end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::bench {

/// How the letters of a page's text are written.
using LetterMaker = std::string (*)(unsigned letter);

inline std::string Byte(unsigned value) {
  return {static_cast<char>(value)};
}
inline std::string Bytes(unsigned first, unsigned second) {
  return {static_cast<char>(first), static_cast<char>(second)};
}

inline void SpoilDeclarations(std::string &page) {
  static constexpr std::string_view NAME = "http-equiv";
  for (std::size_t at = page.find(NAME); at != std::string::npos; at = page.find(NAME, at)) {
    page[at] = 'x';
  }
}

/// The page with its text, not its markup, in other letters.
inline std::string InOtherLetters(std::string_view page, LetterMaker letter) {
  std::string text;
  bool in_markup = false;
  for (const char c : page) {
    const auto index = static_cast<unsigned>((c | 0x20) - 'a');
    if (c == '<') in_markup = true;
    if (!in_markup && index < 26) {
      text += letter(index);
    } else if (static_cast<unsigned char>(c) < 0x80) {
      text += c;
    }
    if (c == '>') in_markup = false;
  }
  return text;
}

inline std::string WidenedLittleEndian(std::string_view page) {
  std::string wide;
  wide.reserve(2 * page.size());
  for (const char c : page) wide.append({c, '\0'});
  return wide;
}

struct PageSet {
  const char *row;
  const char *content_type;
  /// Null: the letters stay as they are.
  LetterMaker letter;
  bool is_wide = false;
};

inline constexpr PageSet PAGE_SETS[] = {
    {"off latin1", "text/html", nullptr},
    {"off utf8", "text/html; charset=utf-8", nullptr},
    {"off 1251", "text/html; charset=windows-1251", [](unsigned l) { return Byte(0xE0 + l); }},
    {"off utf8 letters", "text/html; charset=utf-8",
     [](unsigned l) { return Bytes(0xD0, 0x90 + l); }},
    {"off shift_jis", "text/html; charset=Shift_JIS",
     [](unsigned l) { return Bytes(0x83, 0x41 + l); }},
    {"off gbk", "text/html; charset=GBK", [](unsigned l) { return Bytes(0xB0, 0xA1 + l); }},
    {"off big5", "text/html; charset=Big5", [](unsigned l) { return Bytes(0xA4, 0x40 + l); }},
    {"off euc-jp", "text/html; charset=EUC-JP", [](unsigned l) { return Bytes(0xA5, 0xA1 + l); }},
    {"off utf16", "text/html; charset=UTF-16LE", nullptr, true},
};

inline std::vector<std::string> InSet(std::vector<std::string> pages, const PageSet &set) {
  for (std::string &page : pages) {
    SpoilDeclarations(page);
    if (set.letter != nullptr) page = InOtherLetters(page, set.letter);
    if (set.is_wide) page = WidenedLittleEndian(page);
  }
  return pages;
}

}  // namespace velmora::bench
