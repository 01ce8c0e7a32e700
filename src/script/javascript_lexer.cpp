// The JavaScript lexer.
//
// It knows the language of old browsers, JScript's conditional compilation and the HTML comments
// that hide scripts from still older ones. Some of its ways are narrow on purpose: an octal number
// goes on with 1 to 6 only; a number that begins with 0 has no fraction; a lone 0 at the very end
// is dropped; escapes stay in the text as they are written.
#include "script/lexer_core.h"
#include "script/lexers.h"

namespace velmora {
namespace {

// clang-format off
constexpr Word WORDS[] = {
    {"do", 0x8000}, {"if", 0x8001}, {"in", 0x8002},

    {"@if", 0x8003}, {"for", 0x8004}, {"int", 0x8005}, {"new", 0x8006}, {"try", 0x8007},
    {"var", 0x8008},

    {"@end", 0x8009}, {"@set", 0x800A}, {"byte", 0x800B}, {"case", 0x800C}, {"char", 0x800D},
    {"else", 0x800E}, {"enum", 0x800F}, {"goto", 0x8010}, {"long", 0x8011}, {"null", 0x8012},
    {"this", 0x8013}, {"true", 0x8014}, {"void", 0x8015}, {"with", 0x8016},

    {"@elif", 0x8017}, {"break", 0x8018}, {"catch", 0x8019}, {"class", 0x801A}, {"const", 0x801B},
    {"false", 0x801C}, {"final", 0x801D}, {"float", 0x801E}, {"short", 0x801F}, {"super", 0x8020},
    {"throw", 0x8021}, {"while", 0x8022},

    {"@cc_on", 0x8023}, {"delete", 0x8024}, {"double", 0x8025}, {"export", 0x8026},
    {"import", 0x8027}, {"native", 0x8028}, {"public", 0x8029}, {"return", 0x802A},
    {"static", 0x802B}, {"switch", 0x802C}, {"throws", 0x802D}, {"typeof", 0x802E},

    {"boolean", 0x802F}, {"default", 0x8030}, {"extends", 0x8031}, {"finally", 0x8032},
    {"package", 0x8033}, {"private", 0x8034},

    {"abstract", 0x8035}, {"continue", 0x8036}, {"debugger", 0x8037}, {"function", 0x8038},
    {"volatile", 0x8039},

    {"interface", 0x803A}, {"protected", 0x803B}, {"transient", 0x803C},

    {"implements", 0x803D}, {"instanceof", 0x803E},

    {"synchronized", 0x803F},
};

constexpr TokenCode CLOSING_PARENTHESIS = 0x1105;

constexpr Word OPERATORS[] = {
    {"!", 0x100A}, {"%", 0x1004}, {"&", 0x100B}, {"(", 0x1104}, {")", CLOSING_PARENTHESIS},
    {"*", 0x1002}, {"+", 0x1000}, {",", 0x1100}, {"-", 0x1001}, {".", 0x1108}, {"/", 0x1003},
    {":", 0x1026}, {";", 0x1101}, {"<", 0x1023}, {"=", 0x1007}, {">", 0x1021}, {"?", 0x1025},
    {"[", 0x1106}, {"]", 0x1107}, {"^", 0x100D}, {"{", 0x1102}, {"|", 0x100C}, {"}", 0x1103},
    {"~", 0x100E},

    {"!=", 0x101E}, {"%=", 0x1016}, {"&&", 0x1008}, {"&=", 0x1017}, {"*=", 0x1014},
    {"++", 0x1005}, {"+=", 0x1012}, {"--", 0x1006}, {"-=", 0x1013}, {"/=", 0x1015},
    {"<<", 0x100F}, {"<=", 0x1024}, {"==", 0x101D}, {">=", 0x1022}, {">>", 0x1010},
    {"^=", 0x1019}, {"|=", 0x1018}, {"||", 0x1009},

    {"!==", 0x1020}, {"<<=", 0x101A}, {"===", 0x101F}, {">>=", 0x101B}, {">>>", 0x1011},

    {">>>=", 0x101C},
};

enum Class : UnitClasses {
  LETTER      = 1 << 0,
  NAME_SIGN   = 1 << 1,
  AT          = 1 << 2,
  DIGIT       = 1 << 3,
  HEX_LETTER  = 1 << 4,
  BLANK       = 1 << 5,
  LINE_BREAK  = 1 << 6,
  QUOTE       = 1 << 7,
  PUNCTUATION = 1 << 8,
  OPERATOR    = 1 << 9,
  BACKSLASH   = 1 << 10,
  STAR        = 1 << 11,
  SLASH       = 1 << 12,
  FLAG        = 1 << 13,
  OCTAL       = 1 << 14,
};

constexpr UnitTable::Row CLASS_ROWS[] = {
    {LETTER,      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"},
    {NAME_SIGN,   "_$"},
    {AT,          "@"},
    {DIGIT,       "0123456789"},
    {HEX_LETTER,  "ABCDEFabcdef"},
    {BLANK,       "\t "},
    {LINE_BREAK,  "\n\r"},
    {QUOTE,       "\"'"},
    {PUNCTUATION, ";.[]{}(),?:~"},
    {OPERATOR,    "|^&=!<>*%+-"},
    {BACKSLASH,   "\\"},
    {STAR,        "*"},
    {SLASH,       "/"},
    {FLAG,        "gim"},
    {OCTAL,       "123456"},
};
// clang-format on

constexpr UnitClasses NAME_PART = LETTER | DIGIT | NAME_SIGN;

enum class State {
  BETWEEN_TOKENS,
  SLASH_SEEN,
  LINE_COMMENT,
  BLOCK_COMMENT,
  BLOCK_COMMENT_STAR,
  IDENTIFIER,
  ZERO,
  OCTAL_NUMBER,
  HEX_NUMBER,
  INTEGER,
  FRACTION,
  EXPONENT_MARK,
  EXPONENT,
  STRING,
  STRING_ESCAPE,
  STRING_ESCAPE_CR,
  OPERATOR_SEEN,
  REGEX,
  REGEX_ESCAPE,
  REGEX_FLAGS,
};
using enum State;

class JavaScriptLexer final : public ScriptLexer<JavaScriptLexer, State> {
 public:
  static constexpr UnitTable CLASSES{CLASS_ROWS};
  static constexpr WordTable WORDS{velmora::WORDS};
  static constexpr std::uint32_t LONGEST_WORD = 12;
  static constexpr OperatorTable OPERATORS{velmora::OPERATORS};

  using ScriptLexer::ScriptLexer;

  static char16_t Fold(char16_t unit) noexcept { return unit; }
  State Step(State state, char16_t unit) noexcept;
  void AtEnd(State state) noexcept;

 private:
  State StepOperator(char16_t unit) noexcept;

  bool Divides() const noexcept { return DividesBehind(Last()); }

  // Ends of tokens: the unit that was not the token's any more is taken again.
  State EndIdentifier() noexcept {
    EmitName();
    PushBack();
    return BETWEEN_TOKENS;
  }
  State EndNumber() noexcept { return EndText(TOKEN_NUMBER, Here()); }
  State EndString() noexcept { return EndText(TOKEN_STRING, Here()); }

  // Operators: what stands in `so_far_` is emitted or goes on.
  State EmitSoFar() noexcept {
    EmitOperator(so_far_);
    PushBack();
    return BETWEEN_TOKENS;
  }
  State EmitUnits() noexcept {
    EmitUnitsOf(so_far_);
    PushBack();
    return BETWEEN_TOKENS;
  }
  void EmitUnitsOf(PackedOperator units) noexcept {
    if (units > 0xFF) EmitUnitsOf(units >> 8);
    EmitOperator(units & 0xFF);
  }

  char16_t quote_ = 0;
};

// clang-format off
State JavaScriptLexer::Step(State state, char16_t unit) noexcept {
  const auto is = [classes = CLASSES[unit]](UnitClasses any) { return (classes & any) != 0; };
  switch (state) {
    case BETWEEN_TOKENS:
      if (is(LETTER | NAME_SIGN | AT)) { StartName(unit, NAME_PART);             return IDENTIFIER; }
      if (is(BLANK | LINE_BREAK))      { StayWhile(BLANK | LINE_BREAK);          return BETWEEN_TOKENS; }
      if (unit == '/')                 { StartText(Here());                      return SLASH_SEEN; }
      if (is(QUOTE))                   { quote_ = unit; StartText(After());      return STRING; }
      if (unit == '0')                 { StartText(Here());                      return ZERO; }
      if (is(DIGIT))                   { StartText(Here());                      return INTEGER; }
      if (is(PUNCTUATION))                                                       return EmitSingle(unit);
      if (is(OPERATOR))                                                          return Begin(unit);
      else                                                                       return BETWEEN_TOKENS;
    case SLASH_SEEN:
      if (unit == '/')                                                           return LINE_COMMENT;
      if (unit == '*')                                                           return BLOCK_COMMENT;
      if (unit == '=')                 { EmitOperator(Op("/="));                 return BETWEEN_TOKENS; }
      if (Divides())                   { EmitOperator('/'); PushBack();          return BETWEEN_TOKENS; }
      else                             { PushBack();                             return REGEX; }
    case LINE_COMMENT:
      if (is(LINE_BREAK))                                                        return BETWEEN_TOKENS;
      else                             { StayUntil(LINE_BREAK);                  return LINE_COMMENT; }
    case BLOCK_COMMENT:
      if (unit == '*')                                                           return BLOCK_COMMENT_STAR;
      else                             { StayUntil(STAR);                        return BLOCK_COMMENT; }
    case BLOCK_COMMENT_STAR:
      if (unit == '/')                                                           return BETWEEN_TOKENS;
      if (unit == '*')                                                           return BLOCK_COMMENT_STAR;
      else                                                                       return BLOCK_COMMENT;
    case IDENTIFIER:
      if (is(NAME_PART))               { AddToName(unit, NAME_PART);             return IDENTIFIER; }
      else                                                                       return EndIdentifier();
    case ZERO:
      if (unit == 'X' || unit == 'x')                                            return HEX_NUMBER;
      if (unit >= '0' && unit <= '7')                                            return OCTAL_NUMBER;
      if (unit == '8' || unit == '9')                                            return INTEGER;
      else                                                                       return EndNumber();
    case OCTAL_NUMBER:
      if (is(OCTAL))                   { StayWhile(OCTAL);                       return OCTAL_NUMBER; }
      else                                                                       return EndNumber();
    case HEX_NUMBER:
      if (is(DIGIT | HEX_LETTER))      { StayWhile(DIGIT | HEX_LETTER);          return HEX_NUMBER; }
      else                                                                       return EndNumber();
    case INTEGER:
      if (is(DIGIT))                   { StayWhile(DIGIT);                       return INTEGER; }
      if (unit == '.')                                                           return FRACTION;
      if (unit == 'E' || unit == 'e')                                            return EXPONENT_MARK;
      else                                                                       return EndNumber();
    case FRACTION:
      if (is(DIGIT))                   { StayWhile(DIGIT);                       return FRACTION; }
      if (unit == 'E' || unit == 'e')                                            return EXPONENT_MARK;
      else                                                                       return EndNumber();
    case EXPONENT_MARK:
      if (is(DIGIT) || unit == '+' || unit == '-')                               return EXPONENT;
      else                                                                       return EndNumber();
    case EXPONENT:
      if (is(DIGIT))                   { StayWhile(DIGIT);                       return EXPONENT; }
      else                                                                       return EndNumber();
    case STRING:
      if (unit == quote_)              { EmitText(TOKEN_STRING, Here());         return BETWEEN_TOKENS; }
      if (is(LINE_BREAK))                                                        return EndString();
      if (unit == '\\')                                                          return STRING_ESCAPE;
      else                             { StayUntil(QUOTE | LINE_BREAK | BACKSLASH); return STRING; }
    case STRING_ESCAPE:
      if (unit == '\r')                                                          return STRING_ESCAPE_CR;
      else                                                                       return STRING;
    case STRING_ESCAPE_CR:
      if (unit == '\n')                                                          return STRING;
      else                             { PushBack();                             return STRING; }
    case OPERATOR_SEEN:
      return StepOperator(unit);
    case REGEX:
      if (unit == '/')                                                           return REGEX_FLAGS;
      if (is(LINE_BREAK))                                                        return EndString();
      if (unit == '\\')                                                          return REGEX_ESCAPE;
      else                             { StayUntil(SLASH | LINE_BREAK | BACKSLASH); return REGEX; }
    case REGEX_ESCAPE:
      return REGEX;
    case REGEX_FLAGS:
      if (is(FLAG))                                                              return REGEX_FLAGS;
      else                                                                       return EndString();
  }
  return BETWEEN_TOKENS;
}

State JavaScriptLexer::StepOperator(char16_t unit) noexcept {
  switch (so_far_) {
    case Op("|"): case Op("&"):
      if (unit == so_far_ || unit == '=') return EmitWith(unit);
      else                                return EmitSoFar();
    case Op("^"):
      if (unit == '=')                    return EmitWith(unit);
      else                                return EmitSoFar();
    case Op("="): case Op("!"):
      if (unit == '=')                    return Continue(unit);
      else                                return EmitSoFar();
    case Op("<"):
      if (unit == '=')                    return EmitWith(unit);
      if (unit == '<' || unit == '!')     return Continue(unit);
      else                                return EmitSoFar();
    case Op(">"):
      if (unit == '=')                    return EmitWith(unit);
      if (unit == '>')                    return Continue(unit);
      else                                return EmitSoFar();
    case Op("*"): case Op("%"):
      if (unit == '=')                    return EmitWith(unit);
      else                                return EmitSoFar();
    case Op("+"):
      if (unit == '=')                    return EmitWith(unit);
      if (unit == '+')                    return EmitWith(unit);
      else                                return EmitSoFar();
    case Op("-"):
      if (unit == '=')                    return EmitWith(unit);
      if (unit == '-')                    return html_comment_ ? Continue(unit) : EmitWith(unit);
      else                                return EmitSoFar();
    case Op("=="):
      if (unit == '=')                    return EmitWith(unit);
      else                                return EmitSoFar();
    case Op("!="):
      if (unit == '=')                    return EmitWith(unit);
      else                                return EmitSoFar();
    case Op("<<"):
      if (unit == '=')                    return EmitWith(unit);
      else                                return EmitSoFar();
    case Op("<!"):
      if (unit == '-')                    return Continue(unit);
      else                                return EmitUnits();
    case Op(">>"):
      if (unit == '=')                    return EmitWith(unit);
      if (unit == '>')                    return Continue(unit);
      else                                return EmitSoFar();
    case Op("--"):
      if (unit == '>')                    return BETWEEN_TOKENS;
      else                                return EmitSoFar();
    case Op(">>>"):
      if (unit == '=')                    return EmitWith(unit);
      else                                return EmitSoFar();
    case Op("<!-"):
      if (unit == '-')                    { html_comment_ = true; return LINE_COMMENT; }
      else                                return EmitUnits();
  }
  return BETWEEN_TOKENS;
}

void JavaScriptLexer::AtEnd(State state) noexcept {
  switch (state) {
    case IDENTIFIER:
      EmitName();
      break;
    case OCTAL_NUMBER: case HEX_NUMBER:
    case INTEGER: case FRACTION: case EXPONENT_MARK: case EXPONENT:
      EmitText(TOKEN_NUMBER, After());
      break;
    case STRING: case STRING_ESCAPE: case STRING_ESCAPE_CR:
      EmitText(TOKEN_STRING, After());
      break;
    case OPERATOR_SEEN:
      if (so_far_ == Op("<!") || so_far_ == Op("<!-")) EmitUnitsOf(so_far_);
      else EmitOperator(so_far_);
      break;
    case REGEX: case REGEX_ESCAPE: case REGEX_FLAGS:
      EmitText(TOKEN_STRING, After());
      break;
    case BETWEEN_TOKENS: case SLASH_SEEN:
    case LINE_COMMENT: case BLOCK_COMMENT: case BLOCK_COMMENT_STAR:
    case ZERO:
      break;
  }
  Emit(TOKEN_END_OF_SCRIPT);
}
// clang-format on

}  // namespace

CScriptTokenList *LexJavaScript(const OsServices *services, const OsServices *io, void *source,
                                std::uint32_t is_file, std::uint32_t wide, std::uint32_t big_endian,
                                std::uint32_t start, std::uint32_t length,
                                const std::uint32_t *known_ids, std::int32_t known_count) noexcept {
  return Lex<JavaScriptLexer>(services, io, source, is_file, wide, big_endian, start, length,
                              known_ids, known_count);
}

CodeEnd ReadJavaScriptCode(std::string_view code, bool html_comment) noexcept {
  return ReadCode<JavaScriptLexer>(code, html_comment);
}

bool IsJavaScriptKeyword(std::string_view name) noexcept {
  if (name.size() > JavaScriptLexer::LONGEST_WORD) return false;
  std::uint32_t crc = CRC_START;
  for (const char unit : name) crc = CrcFold(crc, static_cast<std::uint8_t>(unit));
  return JavaScriptLexer::WORDS.Find(name, crc) != 0;
}

bool DividesBehind(TokenCode last) noexcept {
  return last == CLOSING_PARENTHESIS || (last & 0x6000) == TOKEN_NUMBER ||
         IsUnknownIdentifier(last) || IsKnownIdentifier(last);
}

}  // namespace velmora
