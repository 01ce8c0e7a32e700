// ASCII text: letter case, digits and white space, the same whatever the locale.
#pragma once

#include <algorithm>
#include <string_view>

namespace velmora::base {

constexpr bool IsDigitAscii(char c) noexcept {
  return c >= '0' && c <= '9';
}
constexpr bool IsLetterAscii(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
/// 09 to 0D and 20.
constexpr bool IsSpaceAscii(char c) noexcept {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20;
}
constexpr char ToUpperAscii(char c) noexcept {
  return static_cast<char>(c >= 'a' && c <= 'z' ? c - 0x20 : c);
}
constexpr char ToLowerAscii(char c) noexcept {
  return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 0x20 : c);
}

/// Begins with `prefix`, without regard to case.
constexpr bool StartsWithNoCase(std::string_view text, std::string_view prefix) noexcept {
  return text.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), text.begin(),
                    [](char a, char b) { return ToLowerAscii(a) == ToLowerAscii(b); });
}
/// Equal without regard to case.
constexpr bool EqualNoCase(std::string_view left, std::string_view right) noexcept {
  return left.size() == right.size() && StartsWithNoCase(left, right);
}

/// Without the characters at its front and at its back that are to go.
template <class Predicate>
constexpr std::string_view TrimIf(std::string_view text, Predicate goes) noexcept {
  while (!text.empty() && goes(text.front())) text.remove_prefix(1);
  while (!text.empty() && goes(text.back())) text.remove_suffix(1);
  return text;
}
/// The same for the few characters of `set`.
constexpr std::string_view Trim(std::string_view text, std::string_view set) noexcept {
  return TrimIf(text, [set](char c) { return std::find(set.begin(), set.end(), c) != set.end(); });
}
/// Without white space at its front and at its back.
constexpr std::string_view TrimSpace(std::string_view text) noexcept {
  return TrimIf(text, IsSpaceAscii);
}

/// White space in HTML, and in headers: no vertical tab.
inline constexpr std::string_view WEB_SPACE = "\t\n\f\r ";

constexpr std::string_view TrimWebSpace(std::string_view text) noexcept {
  return Trim(text, WEB_SPACE);
}

}  // namespace velmora::base
