// The states of the HTML tokenizer.
#pragma once

#include <cstdint>

namespace velmora {

enum class State : std::uint8_t {
  START = 0,              // at the body's first two characters
  LESS_THAN = 1,          // after "<"
  TAG_NAME = 2,           //
  IN_TAG = 3,             // between the tokens of a tag
  EQUALS = 4,             // after "="
  WORD = 5,               // in a name or an unquoted value
  QUOTED = 6,             // in a quoted portion
  BACKSLASH = 7,          // after "\" in a quoted portion
  QUOTE_CLOSED = 8,       //
  DECLARATION = 9,        // after "<!"
  DECLARATION_DASH = 10,  // after "<!-"
  COMMENT = 11,           //
  COMMENT_DASH = 12,      // after "-" in a comment
  COMMENT_DASHES = 13,    // after "--" in a comment
  TAG_CLOSED = 14,        // after ">"
  TEXT = 15,              //
  RAW_TEXT = 16,          // in the content of SCRIPT or STYLE
  RAW_LESS_THAN = 17,     // after "<" in raw text
  RAW_END_NAME = 18,      // after "</" in raw text
  RAW_END = 19,           // after the whole end name in raw text
};

}  // namespace velmora
