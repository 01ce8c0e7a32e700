#include "platform/url_host.h"

#include <algorithm>

#include "platform/character_classes.h"

namespace velmora::platform {
namespace {

constexpr bool IsSchemeCharacter(char c) noexcept {
  return IsLetterAscii(c) || IsDigitAscii(c) || c == '+' || c == '-' || c == '.';
}

constexpr bool IsScheme(std::string_view text) noexcept {
  return !text.empty() && IsLetterAscii(text.front()) &&
         std::all_of(text.begin(), text.end(), IsSchemeCharacter);
}

/// The text before the first of the characters in `ends`; all of it when there is none.
std::string_view UpTo(std::string_view text, std::string_view ends) noexcept {
  return text.substr(0, text.find_first_of(ends));
}

}  // namespace

std::optional<std::string_view> UrlHost(std::string_view url) noexcept {
  const std::size_t colon = url.find(':');
  if (colon == std::string_view::npos || !IsScheme(url.substr(0, colon)) ||
      !url.substr(colon).starts_with("://")) {
    return std::nullopt;
  }
  // Browsers take a backslash for a slash, so it ends the authority too.
  std::string_view authority = UpTo(url.substr(colon + 3), "/\\?#");
  authority.remove_prefix(authority.rfind('@') + 1);  // nothing when there is no "@"

  std::string_view host = UpTo(authority, ":");
  if (authority.starts_with('[')) host = authority.substr(0, authority.find(']') + 1);
  if (host.empty()) return std::nullopt;
  return host;
}

}  // namespace velmora::platform
