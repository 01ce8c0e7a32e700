#include "web/markup.h"

#include "base/ascii.h"
#include "command/answers/messages.h"

namespace velmora::web {

void Markup::Escape(std::string_view text) {
  for (const char c : command::Printable(text, text.size())) {
    switch (c) {
      case '&':
        html_ += "&amp;";
        break;
      case '<':
        html_ += "&lt;";
        break;
      case '>':
        html_ += "&gt;";
        break;
      case '"':
        html_ += "&quot;";
        break;
      case '\'':
        html_ += "&#39;";
        break;
      default:
        html_ += c;
    }
  }
}

std::string ForQuery(std::string_view text) {
  constexpr char DIGITS[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (base::IsLetterAscii(c) || base::IsDigitAscii(c) || c == '-' || c == '.' || c == '_') {
      encoded += c;
    } else {
      encoded += '%';
      encoded += DIGITS[byte >> 4U];
      encoded += DIGITS[byte & 15U];
    }
  }
  return encoded;
}

}  // namespace velmora::web
