#include "command/answers/messages.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <iterator>

namespace velmora::command {
namespace {

constexpr char32_t NOT_A_CHARACTER = 0xFFFFFFFF;

struct Character {
  char32_t code;
  /// In bytes; what is no character of UTF-8 is one byte.
  std::size_t length;
};

Character FirstCharacter(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return {first, 1};
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || length > text.size()) return {NOT_A_CHARACTER, 1};
  char32_t code = first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {NOT_A_CHARACTER, 1};
    code = code << 6 | (byte(i) & 0x3FU);
  }
  return {code, length};
}

struct Range {
  char32_t first;
  char32_t last;
};

/// What does something to a terminal or to the order of the text, instead of being seen.
constexpr Range UNSEEN[] = {
    {0x0, 0x1F},
    {0x7F, 0x9F},
    {0x61C, 0x61C},
    {0x200B, 0x200F},
    {0x2028, 0x202E},
    {0x2060, 0x206F},
    {0xD800, 0xDFFF},
    {0xFEFF, 0xFEFF},
    {0xFFF9, 0xFFFB},
    {0xE0000, 0xE0FFF},
    {0x110000, NOT_A_CHARACTER},
};

bool IsSeen(char32_t code) {
  return std::ranges::none_of(
      UNSEEN, [&](const Range &range) { return range.first <= code && code <= range.last; });
}

/// At most `most` bytes, and no part of a UTF-8 character at the end.
std::string_view Cut(std::string_view text, std::size_t most) {
  while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80) --most;
  return text.substr(0, most);
}

}  // namespace

void PrintMessage(std::string_view message) noexcept {
  std::fprintf(stderr, "velmora: %.*s\n", static_cast<int>(message.size()), message.data());
}

void PrintLine(std::string_view line) noexcept {
  std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
}

std::string Printable(std::string_view text, std::size_t most) {
  if (text.size() > most) return Printable(Cut(text, most), most) + "...";
  std::string printable;
  while (!text.empty()) {
    const auto [code, length] = FirstCharacter(text);
    if (IsSeen(code)) {
      printable += text.substr(0, length);
    } else {
      for (const char c : text.substr(0, length)) {
        fmt::format_to(std::back_inserter(printable), "\\x{:02X}", static_cast<unsigned char>(c));
      }
    }
    text.remove_prefix(length);
  }
  return printable;
}

std::string Fitting(std::string_view text, std::size_t width) {
  std::string printable = Printable(text, width);
  if (printable.size() <= width) return printable;
  constexpr std::string_view REST = "...";
  if (width < REST.size()) return std::string(Cut(printable, width));
  return std::string(Cut(printable, width - REST.size())).append(REST);
}

}  // namespace velmora::command
