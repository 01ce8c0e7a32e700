// The string operations that handlers share. Strings are 8-bit, carry their length, and fold case
// by ASCII rules; attribute values arrive with the quotes that the page wrote.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/ascii.h"

namespace velmora {

using base::EqualNoCase;
using base::StartsWithNoCase;
using base::TrimSpace;

/// An apostrophe or a double quote.
constexpr bool IsQuote(char c) noexcept {
  return c == '\'' || c == '"';
}

/// Without all quotes at its front and at its back.
std::string_view StripQuotes(std::string_view text) noexcept;
/// Equal without regard to case and to one quote at each end of either.
bool SameValue(std::string_view left, std::string_view right) noexcept;
/// Does `needle` occur anywhere in `haystack`, without regard to case?
bool ContainsNoCase(std::string_view needle, std::string_view haystack) noexcept;
/// The text between two double quotes.
std::string QuoteValue(std::string_view text);
/// "width=468 height=60"
std::string SizeText(std::int32_t width, std::int32_t height);
/// A base-10 integer after white space and an optional sign, one quote at each end dropped first;
/// 0 when there are no digits, clamped to 32 bits.
std::int32_t ParseNumber(std::string_view value) noexcept;

}  // namespace velmora
