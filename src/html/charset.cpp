#include "html/charset.h"

#include <algorithm>

#include "core/strings.h"
#include "diag/log.h"
#include "platform/character_classes.h"

namespace velmora {
namespace {

constexpr std::string_view PARAMETER = "charset";

constexpr bool IsQuoteOrSpace(char c) noexcept {
  return IsQuote(c) || platform::IsSpaceAscii(c);
}

constexpr bool IsCharsetCharacter(char c) noexcept {
  return platform::IsLetterAscii(c) || platform::IsDigitAscii(c) || c == '-' || c == '_';
}

template <class Predicate>
std::string_view SkipFront(std::string_view text, Predicate skip) noexcept {
  while (!text.empty() && skip(text.front())) text.remove_prefix(1);
  return text;
}

/// The charset in what follows the word "charset" within its parameter.
std::string_view CharsetValue(std::string_view text) noexcept {
  text = SkipFront(text, platform::IsSpaceAscii);
  // The "=", unchecked.
  if (!text.empty()) text.remove_prefix(1);
  text = SkipFront(text, IsQuoteOrSpace);
  return text.substr(
      0, static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), IsCharsetCharacter) -
                                  text.begin()));
}

}  // namespace

bool ParseCharset(std::string_view value, std::string &charset) {
  for (std::size_t semicolon = value.find(';'); semicolon != std::string_view::npos;
       semicolon = value.find(';')) {
    value = SkipFront(value.substr(semicolon + 1), platform::IsSpaceAscii);
    const std::string_view parameter = value.substr(0, value.find(';'));
    if (!StartsWithNoCase(parameter, PARAMETER)) continue;
    charset = CharsetValue(parameter.substr(PARAMETER.size()));
    return true;
  }
  return false;
}

void PushStartEncoding(const char *content_type, EncodingStack &encodings) {
  std::string charset;
  if (content_type != nullptr && ParseCharset(content_type, charset) &&
      !EqualNoCase(charset, DEFAULT_CHARSET)) {
    Log("CHARSET (from content type) = %s\n", charset.c_str());
  }
  if (charset.empty()) charset = DEFAULT_CHARSET;

  std::unique_ptr<CEncoding> encoding = MakeEncoding(charset);
  if (encoding == nullptr) {
    encoding = std::make_unique<CEncoding>(DEFAULT_CHARSET);
    if (!encoding->IsValid()) encoding.reset();
  }
  if (encoding == nullptr) {
    Log("****** VELMORA: NO ENCODING ******\n");
    return;
  }
  encodings.Push(std::move(encoding));
}

std::unique_ptr<CEncoding> MakeEncoding(std::string_view name) {
  auto encoding = std::make_unique<CEncoding>(name);
  if (encoding->IsValid()) return encoding;
  Log("*** Failed creating CEncoding(%s)\n", encoding->GetName().c_str());
  return nullptr;
}

}  // namespace velmora
