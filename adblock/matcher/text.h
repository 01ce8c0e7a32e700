// Byte classes and letter case of URLs and rules: ASCII rules, whatever the locale.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/ascii.h"

namespace velmora::adblock {

/// Letters and digits: bytes of tokens, the units by which rules are found. All others bound one.
inline constexpr std::uint8_t BYTE_TOKEN = 1;
/// What "^" stands for in a rule: neither letter, digit, "_", "-", ".", "%" nor beyond ASCII.
inline constexpr std::uint8_t BYTE_SEPARATOR = 2;
/// What ends a URL inside a text: white space, controls, quotes, angle brackets, backslash.
inline constexpr std::uint8_t BYTE_ENDS_URL = 4;
/// Bytes of a host name.
inline constexpr std::uint8_t BYTE_HOST = 8;

inline constexpr std::array<std::uint8_t, 256> BYTE_CLASSES = [] {
  std::array<std::uint8_t, 256> classes{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    const bool alphanumeric = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                              (byte >= 'a' && byte <= 'z');
    std::uint8_t &entry = classes[byte];
    if (alphanumeric) entry |= BYTE_TOKEN;
    if (alphanumeric || byte == '-' || byte == '.' || byte == '_') entry |= BYTE_HOST;
    if (byte < 0x80 && byte != '%' && !(entry & BYTE_HOST)) entry |= BYTE_SEPARATOR;
    if (byte <= ' ' || byte == 0x7F || byte == '"' || byte == '\'' || byte == '`' || byte == '<' ||
        byte == '>' || byte == '\\') {
      entry |= BYTE_ENDS_URL;
    }
  }
  return classes;
}();

using base::TrimSpace;

constexpr bool IsByte(char byte, std::uint8_t classes) noexcept {
  return (BYTE_CLASSES[static_cast<std::uint8_t>(byte)] & classes) != 0;
}

constexpr bool HasUpper(std::string_view text) noexcept {
  for (const char byte : text) {
    if (byte != base::ToLowerAscii(byte)) return true;
  }
  return false;
}

/// `text.find(wanted, at)`. In long texts in a time that no text can make more than linear.
inline std::size_t FindBytes(std::string_view text, std::string_view wanted,
                             std::size_t at) noexcept {
  constexpr std::size_t LONG = 256;
  if (text.size() < LONG + at) return text.find(wanted, at);
  const void *found = memmem(text.data() + at, text.size() - at, wanted.data(), wanted.size());
  if (!found) return std::string_view::npos;
  return static_cast<std::size_t>(static_cast<const char *>(found) - text.data());
}

/// Cuts `text` at the first `separator` and returns the piece before it; `text` keeps the rest.
constexpr std::string_view CutPiece(std::string_view &text, char separator) noexcept {
  const std::size_t end = text.find(separator);
  const std::string_view piece = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return piece;
}

}  // namespace velmora::adblock
