// What the lexers' tables say about a piece of code, for the string readers.
#pragma once

#include <cstdint>
#include <string_view>

#include "script/token_codes.h"

namespace velmora {

/// How a piece of code ends.
struct CodeEnd {
  /// The last token, of texts the class alone; `TOKEN_STRING` when no token ends in the piece.
  TokenCode last;
  /// Bytes of the last text that ends in the piece.
  std::uint32_t text_length;
  /// Length of the name that the piece ends in, which may go on; 0 when it ends in none. Names
  /// longer than any keyword have any length above that.
  std::uint32_t open_name;

  bool HasToken() const noexcept { return last != TOKEN_STRING; }
};

/// Reads code that begins between two tokens and has no string, regular expression or comment in
/// it. Its last byte may begin one: only what stands before is read whole. `html_comment`: "<!--"
/// was seen before.
CodeEnd ReadJavaScriptCode(std::string_view code, bool html_comment) noexcept;
CodeEnd ReadVBScriptCode(std::string_view code, bool html_comment) noexcept;

bool IsJavaScriptKeyword(std::string_view name) noexcept;
/// Does a "/" after this token divide? Else it begins a regular expression.
bool DividesBehind(TokenCode last) noexcept;

}  // namespace velmora
