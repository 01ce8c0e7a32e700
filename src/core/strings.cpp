#include "core/strings.h"

#include <algorithm>
#include <limits>

namespace velmora {
namespace {

/// Without one quote at the start and one at the end; a lone quote is taken once.
std::string_view StripOneQuote(std::string_view text) noexcept {
  if (!text.empty() && IsQuote(text.front())) text.remove_prefix(1);
  if (!text.empty() && IsQuote(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

std::string_view StripQuotes(std::string_view text) noexcept {
  return base::Trim(text, "'\"");
}

bool SameValue(std::string_view left, std::string_view right) noexcept {
  return EqualNoCase(StripOneQuote(left), StripOneQuote(right));
}

bool ContainsNoCase(std::string_view needle, std::string_view haystack) noexcept {
  // What ends in a sign, which has no case, is soon found by that.
  if (!needle.empty() && !base::IsLetterAscii(needle.back())) {
    for (std::size_t end = needle.size(); end <= haystack.size(); ++end) {
      end = haystack.find(needle.back(), end - 1) + 1;
      if (end == 0) return false;
      if (EqualNoCase(haystack.substr(end - needle.size(), needle.size()), needle)) return true;
    }
    return false;
  }
  for (; haystack.size() >= needle.size(); haystack.remove_prefix(1)) {
    if (StartsWithNoCase(haystack, needle)) return true;
    if (haystack.empty()) break;
  }
  return false;
}

std::string QuoteValue(std::string_view text) {
  std::string quoted;
  quoted.reserve(text.size() + 2);
  return quoted.append(1, '"').append(text).append(1, '"');
}

std::string SizeText(std::int32_t width, std::int32_t height) {
  return "width=" + std::to_string(width) + " height=" + std::to_string(height);
}

std::int32_t ParseNumber(std::string_view value) noexcept {
  std::string_view text = StripOneQuote(value);
  while (!text.empty() && base::IsSpaceAscii(text.front())) text.remove_prefix(1);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);

  constexpr std::int64_t LARGEST = std::numeric_limits<std::int32_t>::max();
  std::int64_t number = 0;
  for (; !text.empty() && base::IsDigitAscii(text.front()); text.remove_prefix(1)) {
    number = std::min(number * 10 + (text.front() - '0'), LARGEST + 1);
  }
  return static_cast<std::int32_t>(negative ? -number : std::min(number, LARGEST));
}

}  // namespace velmora
