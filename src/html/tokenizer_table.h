// The syntax of the HTML tokenizer: what comes, what to do, which state is next.
//
// Each row is one line, in order: the first that fits is taken. A row ends in what happens to the
// character: CONSUMED, AGAIN (the table runs once more on it, in the new state) or DECODED_ANEW
// (the position was moved; decoding goes on from there). What the named actions do, and what
// entering a state brings with it, is the business of `Actions`.
#pragma once

#include "core/strings.h"
#include "html/tokenizer_state.h"
#include "platform/character_classes.h"

namespace velmora {

enum class Taken { CONSUMED, AGAIN, DECODED_ANEW };

constexpr bool IsQuoteUnit(char16_t c) noexcept {
  return c == u'\'' || c == u'"';
}

template <class Actions>
constexpr Taken RunTable(State state, char16_t c, Actions &a) {
  using enum State;
  using enum Taken;
  using platform::IsAlphanumeric;
  using platform::IsLetter;
  using platform::IsSpace;

  // clang-format off
  switch (state) {
    case START:
      if (a.IsAtCallOffset())               return a.HoldFromHere(), CONSUMED;
      /* any later character */             return a.TestByteOrder(), a.GoToCallOffset(), a.Enter(TEXT), DECODED_ANEW;

    case LESS_THAN:
      if (IsLetter(c))                      return a.Enter(TAG_NAME), a.AppendUpper(c), CONSUMED;
      if (c == u'/')                        return a.Enter(TAG_NAME), a.Append(c), CONSUMED;
      if (c == u'!')                        return a.Enter(DECLARATION), CONSUMED;
      if (c == u'<')                        return a.Enter(IN_TAG), AGAIN;
      /* other */                           return a.Enter(IN_TAG), CONSUMED;

    case TAG_NAME:
      if (IsAlphanumeric(c) || c == u'.' || c == u'-')
                                            return a.AppendUpper(c), CONSUMED;
      /* other */                           return a.Enter(IN_TAG), AGAIN;

    case IN_TAG:
      if (c == u'>')                        return a.Enter(TAG_CLOSED), CONSUMED;
      if (c == u'<')                        return a.LogUnclosedTag(), a.Enter(TEXT), a.Enter(LESS_THAN), CONSUMED;
      if (IsSpace(c))                       return CONSUMED;
      if (c == u'=')                        return a.Enter(EQUALS), a.Append(c), CONSUMED;
      if (IsQuoteUnit(c))                   return a.OpenQuote(c, IN_TAG), a.Enter(QUOTED), a.Append(c), CONSUMED;
      /* other */                           return a.Enter(WORD), a.Append(c), CONSUMED;

    case EQUALS:
      /* any */                             return a.Enter(IN_TAG), AGAIN;

    case WORD:
      if (IsSpace(c) || c == u'>' || c == u'<')
                                            return a.Enter(IN_TAG), AGAIN;
      if (c == u'=' && !a.IsValueExpected())
                                            return a.Enter(IN_TAG), AGAIN;
      if (IsQuoteUnit(c) && a.IsValueExpected())
                                            return a.OpenQuote(c, WORD), a.Enter(QUOTED), a.Append(c), CONSUMED;
      /* other */                           return a.Append(c), CONSUMED;

    case QUOTED:
      if (a.IsOpenQuote(c))                 return a.Append(c), a.Enter(QUOTE_CLOSED), CONSUMED;
      if (c == u'\\')                       return a.Append(c), a.Enter(BACKSLASH), CONSUMED;
      if (c == u'>' && a.ReturnState() == WORD)
                                            return a.LogAutoclosing(), a.Enter(QUOTE_CLOSED), AGAIN;
      /* other */                           return a.Append(c), CONSUMED;

    case BACKSLASH:
      /* any */                             return a.Append(c), a.Enter(QUOTED), CONSUMED;

    case QUOTE_CLOSED:
      /* any */                             return a.Enter(a.ReturnState()), AGAIN;

    case DECLARATION:
      if (c == u'-')                        return a.Enter(DECLARATION_DASH), CONSUMED;
      /* other */                           return a.Enter(IN_TAG), CONSUMED;

    case DECLARATION_DASH:
      if (c == u'-')                        return a.Enter(COMMENT), CONSUMED;
      /* other */                           return a.Enter(IN_TAG), CONSUMED;

    case COMMENT:
      if (c == u'-')                        return a.Enter(COMMENT_DASH), CONSUMED;
      /* other */                           return CONSUMED;

    case COMMENT_DASH:
      if (c == u'-')                        return a.Enter(COMMENT_DASHES), CONSUMED;
      /* other */                           return a.Enter(COMMENT), CONSUMED;

    case COMMENT_DASHES:
      if (c == u'>')                        return a.Enter(TAG_CLOSED), CONSUMED;
      /* other */                           return a.Enter(COMMENT_DASH), AGAIN;

    case TAG_CLOSED:
      /* any */                             return a.Enter(TEXT), AGAIN;

    case TEXT:
      if (c == u'<')                        return a.Enter(LESS_THAN), CONSUMED;
      /* other */                           return CONSUMED;

    case RAW_TEXT:
      if (c == u'<')                        return a.Enter(RAW_LESS_THAN), CONSUMED;
      /* other */                           return CONSUMED;

    case RAW_LESS_THAN:
      if (c == u'/')                        return a.Enter(RAW_END_NAME), a.Append(c), CONSUMED;
      /* other */                           return a.Enter(RAW_TEXT), AGAIN;

    case RAW_END_NAME:
      if (a.IsNextOfEndName(c))             return a.AppendUpper(c), a.CountEndName(),
                                                   a.IsWholeEndName() ? a.Enter(RAW_END) : void(), CONSUMED;
      /* other */                           return a.Enter(RAW_TEXT), AGAIN;

    case RAW_END:
      if (c == u'>')                        return a.Enter(IN_TAG), a.Enter(TAG_CLOSED), CONSUMED;
      /* other */                           return a.Enter(RAW_TEXT), AGAIN;
  }
  // clang-format on
  return CONSUMED;
}

}  // namespace velmora
