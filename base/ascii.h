// ASCII text in headers: letter case and white space.
#pragma once

#include <algorithm>
#include <string_view>

namespace velmora::host {

inline constexpr std::string_view WHITE_SPACE = " \t\r\n\f";

constexpr char LowerCase(char c) noexcept {
  return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Equal to a text in lower case, letter case aside.
constexpr bool EqualsNoCase(std::string_view text, std::string_view lower_case) noexcept {
  return std::ranges::equal(text, lower_case, {}, LowerCase);
}

/// Without white space at both ends.
constexpr std::string_view Trimmed(std::string_view text) noexcept {
  text.remove_prefix(std::min(text.find_first_not_of(WHITE_SPACE), text.size()));
  return text.substr(0, text.find_last_not_of(WHITE_SPACE) + 1);
}

}  // namespace velmora::host
