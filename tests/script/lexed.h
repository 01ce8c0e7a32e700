// Token lists as the tests write them, and sources in every form that a lexer takes.
//
// A token is written as its code in hex ("8008"), as "id NAME" for an identifier that is not known,
// as "num TEXT" or as "str TEXT".
#pragma once

#include <cstdio>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fake_services.h"
#include "script/lexers.h"

namespace velmora::testing {

using Tokens = std::vector<std::string>;

inline std::string Hex(unsigned code) {
  char text[8];
  std::snprintf(text, sizeof text, "%04x", code);
  return text;
}

/// The CRC register of a name, bit by bit.
inline std::uint32_t NameCrc(std::string_view name) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char c : name) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = crc & 1 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
  }
  return crc;
}

/// Tokens as they are written in a list: an identifier by its code.
inline Tokens WithCodes(Tokens tokens) {
  for (std::string &token : tokens) {
    if (token.starts_with("id ")) token = Hex(0xC000 | (NameCrc(token.substr(3)) & 0x3FFF));
  }
  return tokens;
}

/// One way to give a source to a lexer.
struct Form {
  bool is_file;
  bool wide;
  bool big_endian;
  bool known_length;

  friend std::ostream &operator<<(std::ostream &out, const Form &form) {
    return out << (form.is_file ? "file" : "memory")
               << (!form.wide        ? ", 8-bit"
                   : form.big_endian ? ", 16-bit BE"
                                     : ", 16-bit LE")
               << (form.known_length ? "" : ", to its end");
  }
};

inline constexpr Form PLAIN{false, false, false, true};
inline constexpr Form FORMS[] = {
    PLAIN,
    {false, true, false, true},
    {false, true, true, true},
    {true, false, false, true},
    {true, false, false, false},
    {true, true, false, true},
    {true, true, true, true},
    {true, true, false, false},
    {true, true, true, false},
};

inline std::string ToBytes(std::u16string_view units, const Form &form) {
  std::string bytes;
  for (const char16_t unit : units) {
    const char high = static_cast<char>(unit >> 8);
    const char low = static_cast<char>(unit);
    if (form.wide) bytes += form.big_endian ? high : low;
    bytes += !form.wide || form.big_endian ? low : high;
  }
  return bytes;
}

/// The bytes of a text token as characters; units above 7E as \uXXXX.
inline std::string Readable(std::string_view bytes, const Form &form) {
  std::string text;
  const std::size_t width = form.wide ? 2 : 1;
  for (std::size_t i = 0; i + width <= bytes.size(); i += width) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(bytes[i + k]); };
    const unsigned unit = !form.wide        ? byte(0)
                          : form.big_endian ? byte(0) << 8 | byte(1)
                                            : byte(1) << 8 | byte(0);
    if (unit <= 0x7E) {
      text.push_back(static_cast<char>(unit));
    } else {
      text.append("\\u").append(Hex(unit));
    }
  }
  return text;
}

/// Reads a whole list back.
inline Tokens ReadBack(CScriptTokenList *list, const Form &form = PLAIN) {
  Tokens tokens;
  for (std::uint32_t i = 0; i < CScriptTokenList::Count(list); ++i) {
    TokenCode code = 0;
    if (CScriptTokenList::CodeAt(list, i, &code) != LEX_OK) {
      tokens.push_back("no code");
    } else if (CarriesText(code)) {
      std::uint32_t length = 0;
      std::uint32_t position = 0;
      std::string text;
      if (CScriptTokenList::TextAt(list, i, &length, &position) == LEX_OK &&
          CScriptTokenList::HoldsText(list, position, length)) {
        text.resize(length);
        CScriptTokenList::ReadText(list, text.data(), position, length);
      } else {
        text = "(not there)";
      }
      tokens.emplace_back(TokenClass(code) == TOKEN_NUMBER ? "num " : "str ")
          .append(Readable(text, form));
    } else {
      tokens.push_back(Hex(code));
    }
  }
  return tokens;
}

/// Gives a source to a lexer in a form; all services are `services`.
inline TokenListPointer Lex(Lexer lexer, std::string bytes, const Form &form,
                            FakeServices &services, std::span<const std::uint32_t> known = {}) {
  void *source = form.is_file ? services.MakeFile(bytes) : bytes.data();
  const auto length = static_cast<std::uint32_t>(bytes.size());
  TokenListPointer list(lexer(&services, &services, source, form.is_file, form.wide,
                              form.big_endian, 0, form.known_length ? length : LENGTH_TO_END,
                              known.data(), static_cast<std::int32_t>(known.size())));
  if (form.is_file) services.CloseFile(&services, source);
  return list;
}

}  // namespace velmora::testing
