#include "web/markup.h"

#include "base/ascii.h"
#include "base/html_text.h"
#include "command/answers/messages.h"

namespace velmora::web {

void Markup::Escape(std::string_view text) {
  html_ += base::EscapedForHtml(command::Printable(text, text.size()));
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
