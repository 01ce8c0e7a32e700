#include "script/string_reader.h"

#include "platform/character_classes.h"

namespace velmora {

void StringReader::LookForLongText(const char *begin) noexcept {
  if (EndsInLongInteger(begin)) {
    after_long_text_ = true;
    return;
  }
  // The byte at `at_` ends whatever token stands before it.
  const CodeEnd code = ReadCode(begin, at_ + 1);
  if (!code.HasToken()) return;
  after_long_text_ = code.last == TOKEN_NUMBER && code.text_length > LONG_TEXT;
}

/// A glance at what is easily made of any length.
bool StringReader::EndsInLongInteger(const char *begin) const noexcept {
  const char *end = at_;
  while (end != begin && (end[-1] == ' ' || end[-1] == '\t')) --end;
  const char *digits = end;
  while (digits != begin && platform::IsDigitAscii(digits[-1])) --digits;
  // A 0 may begin another sort of number, and where code begins, a name or a number has ended.
  const bool begins_token = digits == begin || digits[-1] == ' ' || digits[-1] == '\t';
  return end - digits > static_cast<std::ptrdiff_t>(LONG_TEXT) && *digits != '0' && begins_token;
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
