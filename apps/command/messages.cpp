#include "command/messages.h"

#include <cstdio>
#include <fmt/format.h>
#include <iterator>

namespace velmora::command {
namespace {

/// The length of the control character that begins here, 0 when there is none: C0, DEL, and C1 in
/// UTF-8.
std::size_t ControlLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  if (first < 0x20 || first == 0x7F) return 1;
  if (first != 0xC2 || text.size() == 1) return 0;
  const auto second = static_cast<unsigned char>(text[1]);
  return 0x80 <= second && second <= 0x9F ? 2 : 0;
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
    const std::size_t control = ControlLength(text);
    if (control == 0) {
      printable += text[0];
    } else {
      for (const char c : text.substr(0, control)) {
        fmt::format_to(std::back_inserter(printable), "\\x{:02X}", static_cast<unsigned char>(c));
      }
    }
    text.remove_prefix(control == 0 ? 1 : control);
  }
  return printable;
}

}  // namespace velmora::command
