// The 16-bit codes of script tokens, as far as both languages share them.
//
//   0x1000 operators        0x4000 | offset  numbers       0x8000 keywords
//   0x1100 punctuation      0x6000 | offset  strings       0x8100 known identifiers
//   0x11FD, 0x11FE ends                                    0xC000 other identifiers
//
// Numbers and strings carry their source text; their low 13 bits are the offset of the text's
// record in its page of the text stream. An identifier's low 14 bits are those of the CRC of its
// name.
#pragma once

#include <cstdint>
#include <string_view>

namespace velmora {

using TokenCode = std::uint16_t;

inline constexpr TokenCode TOKEN_CLASS_MASK = 0xE000;
inline constexpr TokenCode TOKEN_NUMBER = 0x4000;
/// String, regular-expression and date literals.
inline constexpr TokenCode TOKEN_STRING = 0x6000;
inline constexpr TokenCode TOKEN_END_OF_STATEMENT = 0x11FD;
inline constexpr TokenCode TOKEN_END_OF_SCRIPT = 0x11FE;
inline constexpr TokenCode TOKEN_KEYWORD = 0x8000;
inline constexpr TokenCode TOKEN_KNOWN_IDENTIFIER = 0x8000;
inline constexpr TokenCode TOKEN_IDENTIFIER = 0xC000;

/// Codes of keywords and of identifiers differ in these bits.
inline constexpr TokenCode IDENTIFIER_CLASS_MASK = 0xC000;
inline constexpr TokenCode IDENTIFIER_BITS = 0x3FFF;
/// Known identifiers stay clear of the keywords' codes, which end here.
inline constexpr TokenCode FIRST_KNOWN_IDENTIFIER = 0x0100;

constexpr TokenCode TokenClass(TokenCode code) noexcept {
  return static_cast<TokenCode>(code & TOKEN_CLASS_MASK);
}
constexpr bool CarriesText(TokenCode code) noexcept {
  return TokenClass(code) == TOKEN_NUMBER || TokenClass(code) == TOKEN_STRING;
}
constexpr bool IsKnownIdentifier(TokenCode code) noexcept {
  return (code & IDENTIFIER_CLASS_MASK) == TOKEN_KNOWN_IDENTIFIER &&
         (code & IDENTIFIER_BITS) >= FIRST_KNOWN_IDENTIFIER;
}
constexpr bool IsUnknownIdentifier(TokenCode code) noexcept {
  return (code & IDENTIFIER_CLASS_MASK) == TOKEN_IDENTIFIER;
}

/// "keyword", "operator", "punctuation", "number", "string", "identifier", "known-identifier",
/// "end-of-statement" or "end-of-script".
constexpr std::string_view TokenClassName(TokenCode code) noexcept {
  if (code == TOKEN_END_OF_STATEMENT) return "end-of-statement";
  if (code == TOKEN_END_OF_SCRIPT) return "end-of-script";
  if (TokenClass(code) == TOKEN_NUMBER) return "number";
  if (TokenClass(code) == TOKEN_STRING) return "string";
  if (IsUnknownIdentifier(code)) return "identifier";
  if (IsKnownIdentifier(code)) return "known-identifier";
  if (code >= TOKEN_KEYWORD) return "keyword";
  return code < 0x1100 ? "operator" : "punctuation";
}

}  // namespace velmora
