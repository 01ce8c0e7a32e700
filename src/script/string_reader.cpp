#include "script/string_reader.h"

namespace velmora {

void StringReader::LookForLongText(const char *begin) noexcept {
  // The byte at `at_` ends whatever token stands before it.
  const CodeEnd code = ReadCode(begin, at_ + 1);
  if (!code.HasToken()) return;
  after_long_text_ = code.last == TOKEN_NUMBER && code.text_length > LONG_TEXT;
}

bool StringReader::Give(std::string_view &string, const char *begin, const char *end,
                        const char *next) noexcept {
  if (after_long_text_) {
    is_lost_ = true;
    return false;
  }
  string = {begin, static_cast<std::size_t>(end - begin)};
  after_long_text_ = string.size() > LONG_TEXT;
  EnterCode(next);
  return true;
}

}  // namespace velmora
