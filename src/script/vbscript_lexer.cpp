// The VBScript lexer.
//
// Words are told without regard to case. Line ends, colons and comments are statement ends, of
// which there is never one before the first token nor, but for colons, one after another. A "_"
// joins a line with the next. Hexadecimal literals are an "&" and a name.
#include "script/lexer_core.h"
#include "script/lexers.h"

namespace velmora {
namespace {

// clang-format off
constexpr Word WORDS[] = {
    {"do", 0x8000}, {"if", 0x8001}, {"in", 0x8002}, {"is", 0x1009}, {"on", 0x8003}, {"or", 0x100D},
    {"to", 0x8004},

    {"and", 0x1001}, {"dim", 0x8005}, {"end", 0x8006}, {"eqv", 0x1005}, {"for", 0x8007},
    {"get", 0x8008}, {"imp", 0x1007}, {"let", 0x8009}, {"mod", 0x100A}, {"new", 0x800A},
    {"not", 0x100C}, {"set", 0x800B}, {"sub", 0x800C}, {"xor", 0x100F},

    {"call", 0x800D}, {"case", 0x800E}, {"each", 0x800F}, {"else", 0x8010}, {"exit", 0x8011},
    {"goto", 0x8012}, {"loop", 0x8013}, {"next", 0x8014}, {"null", 0x8015}, {"step", 0x8016},
    {"then", 0x8017}, {"true", 0x8018}, {"wend", 0x8019}, {"with", 0x801A},

    {"byref", 0x801B}, {"byval", 0x801C}, {"class", 0x801D}, {"const", 0x801E}, {"erase", 0x801F},
    {"error", 0x8020}, {"false", 0x8021}, {"redim", 0x8022}, {"until", 0x8023}, {"while", 0x8024},

    {"elseif", 0x8025}, {"option", 0x8026}, {"public", 0x8027}, {"resume", 0x8028},
    {"select", 0x8029},

    {"default", 0x802A}, {"execute", 0x802B}, {"nothing", 0x802C}, {"private", 0x802D},

    {"explicit", 0x802E}, {"function", 0x802F}, {"preserve", 0x8030}, {"property", 0x8031},

    {"randomize", 0x8032},

    {"executeglobal", 0x8033},
};

constexpr Word OPERATORS[] = {
    {"&", 0x1003}, {"(", 0x1100}, {")", 0x1101}, {"*", 0x100B}, {"+", 0x1000}, {",", 0x1103},
    {"-", 0x100E}, {".", 0x1102}, {"/", 0x1004}, {"<", 0x1010}, {"=", 0x1002}, {">", 0x1011},
    {"\\", 0x1008}, {"^", 0x1006},

    {"<=", 0x1012}, {"<>", 0x1013}, {">=", 0x1014},
};

enum Class : UnitClasses {
  LETTER     = 1 << 0,
  UNDERSCORE = 1 << 1,
  DIGIT      = 1 << 2,
  BLANK      = 1 << 3,
  LINE_BREAK = 1 << 4,
  OPERATOR   = 1 << 5,
  QUOTE      = 1 << 6,
  DATE_SIGN  = 1 << 7,
};

constexpr UnitTable::Row CLASS_ROWS[] = {
    {LETTER,     "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"},
    {UNDERSCORE, "_"},
    {DIGIT,      "0123456789"},
    {BLANK,      "\t "},
    {LINE_BREAK, "\n\r"},
    {OPERATOR,   "&*+,/)=\\^("},
    {QUOTE,      "\""},
    {DATE_SIGN,  "#"},
};
// clang-format on

constexpr UnitClasses NAME_PART = LETTER | DIGIT | UNDERSCORE;

enum class State {
  BETWEEN_TOKENS,
  COMMENT,
  IDENTIFIER,
  DOT_SEEN,
  INTEGER,
  FRACTION,
  EXPONENT_MARK,
  EXPONENT,
  STRING,
  STRING_QUOTE,
  DATE,
  OPERATOR_SEEN,
  UNDERSCORE_SEEN,
  CONTINUED_LINE,
};
using enum State;

class VBScriptLexer final : public ScriptLexer<VBScriptLexer, State> {
 public:
  static constexpr UnitTable CLASSES{CLASS_ROWS};
  static constexpr WordTable WORDS{velmora::WORDS};
  static constexpr std::uint32_t LONGEST_WORD = 13;
  static constexpr OperatorTable OPERATORS{velmora::OPERATORS};

  using ScriptLexer::ScriptLexer;

  static char16_t Fold(char16_t unit) noexcept {
    return unit >= 'A' && unit <= 'Z' ? static_cast<char16_t>(unit | 0x20) : unit;
  }
  State Step(State state, char16_t unit) noexcept;
  void AtEnd(State state) noexcept;

 private:
  State StepOperator(char16_t unit) noexcept;

  void EndStatement() noexcept {
    if (Last() != TOKEN_END_OF_STATEMENT && Last() != 0) Emit(TOKEN_END_OF_STATEMENT);
  }

  // Ends of tokens: the unit that was not the token's any more is taken again.
  State EndIdentifier() noexcept {
    PushBack();
    if (KeptName() == "rem") return COMMENT;
    EmitName();
    return BETWEEN_TOKENS;
  }
  State EndNumber() noexcept { return EndText(TOKEN_NUMBER, Here()); }

  // Operators: what stands in `so_far_` is emitted or goes on.
  State EmitAndPushBack(char16_t first, char16_t second = 0) noexcept {
    EmitOperator(first);
    if (second != 0) EmitOperator(second);
    PushBack();
    return BETWEEN_TOKENS;
  }
};

// clang-format off
State VBScriptLexer::Step(State state, char16_t unit) noexcept {
  const auto is = [classes = CLASSES[unit]](UnitClasses any) { return (classes & any) != 0; };
  switch (state) {
    case BETWEEN_TOKENS:
      if (is(LETTER))                     { StartName(unit, NAME_PART);        return IDENTIFIER; }
      if (is(BLANK))                      { StayWhile(BLANK);                  return BETWEEN_TOKENS; }
      if (is(LINE_BREAK))                 { EndStatement();                    return BETWEEN_TOKENS; }
      if (unit == '.')                    { StartText(Here());                 return DOT_SEEN; }
      if (is(DIGIT))                      { StartText(Here());                 return INTEGER; }
      if (unit == '"')                    { StartText(After());                return STRING; }
      if (unit == '#')                    { StartText(Here());                 return DATE; }
      if (is(OPERATOR))                                                        return EmitSingle(unit);
      if (unit == '-')                    return html_comment_ ? Begin(unit) : EmitSingle(unit);
      if (unit == ':')                    { Emit(TOKEN_END_OF_STATEMENT);      return BETWEEN_TOKENS; }
      if (unit == '\'')                   { EndStatement();                    return COMMENT; }
      if (unit == '<' || unit == '>')                                          return Begin(unit);
      if (unit == '_')                                                         return UNDERSCORE_SEEN;
      else                                                                     return BETWEEN_TOKENS;
    case COMMENT:
      if (is(LINE_BREAK))                                                      return BETWEEN_TOKENS;
      else                                { StayUntil(LINE_BREAK);             return COMMENT; }
    case IDENTIFIER:
      if (is(NAME_PART))                  { AddToName(unit, NAME_PART);        return IDENTIFIER; }
      else                                                                     return EndIdentifier();
    case DOT_SEEN:
      if (is(DIGIT))                                                           return FRACTION;
      else                                                                     return EmitAndPushBack('.');
    case INTEGER:
      if (is(DIGIT))                      { StayWhile(DIGIT);                  return INTEGER; }
      if (unit == '.')                                                         return FRACTION;
      if (unit == 'E' || unit == 'e')                                          return EXPONENT_MARK;
      else                                                                     return EndNumber();
    case FRACTION:
      if (is(DIGIT))                      { StayWhile(DIGIT);                  return FRACTION; }
      if (unit == 'E' || unit == 'e')                                          return EXPONENT_MARK;
      else                                                                     return EndNumber();
    case EXPONENT_MARK:
      if (is(DIGIT) || unit == '+' || unit == '-')                             return EXPONENT;
      else                                                                     return EndNumber();
    case EXPONENT:
      if (is(DIGIT))                      { StayWhile(DIGIT);                  return EXPONENT; }
      else                                                                     return EndNumber();
    case STRING:
      if (unit == '"')                                                         return STRING_QUOTE;
      if (is(LINE_BREAK))                                                      return EndText(TOKEN_STRING, Here());
      else                                { StayUntil(QUOTE | LINE_BREAK);     return STRING; }
    case STRING_QUOTE:
      if (unit == '"')                                                         return STRING;
      else                                                                     return EndText(TOKEN_STRING, Before());
    case DATE:
      if (unit == '#')                    { EmitText(TOKEN_STRING, After());   return BETWEEN_TOKENS; }
      if (is(LINE_BREAK))                                                      return EndText(TOKEN_STRING, After());
      else                                { StayUntil(DATE_SIGN | LINE_BREAK); return DATE; }
    case OPERATOR_SEEN:
      return StepOperator(unit);
    case UNDERSCORE_SEEN:
      if (is(BLANK))                                                           return UNDERSCORE_SEEN;
      if (is(LINE_BREAK))                                                      return CONTINUED_LINE;
      else                                { PushBack();                        return BETWEEN_TOKENS; }
    case CONTINUED_LINE:
      if (is(LINE_BREAK))                                                      return CONTINUED_LINE;
      else                                { PushBack();                        return BETWEEN_TOKENS; }
  }
  return BETWEEN_TOKENS;
}

State VBScriptLexer::StepOperator(char16_t unit) noexcept {
  switch (so_far_) {
    case Op("<"):
      if (unit == '=' || unit == '>') return EmitWith(unit);
      if (unit == '!')                return Continue(unit);
      else                            return EmitAndPushBack('<');
    case Op(">"):
      if (unit == '=')                return EmitWith(unit);
      else                            return EmitAndPushBack('>');
    case Op("-"):
      if (unit == '-')                return Continue(unit);
      else                            return EmitAndPushBack('-');
    case Op("<!"):
      if (unit == '-')                return Continue(unit);
      else                            return EmitAndPushBack('<');
    case Op("--"):
      if (unit == '>')                return BETWEEN_TOKENS;
      else                            return EmitAndPushBack('-', '-');
    case Op("<!-"):
      if (unit == '-')                { html_comment_ = true; return COMMENT; }
      else                            return EmitAndPushBack('<', '-');
  }
  return BETWEEN_TOKENS;
}

void VBScriptLexer::AtEnd(State state) noexcept {
  switch (state) {
    case IDENTIFIER:
      EmitName();
      break;
    case DOT_SEEN:
      EmitOperator('.');
      break;
    case INTEGER: case FRACTION: case EXPONENT_MARK: case EXPONENT:
      EmitText(TOKEN_NUMBER, After());
      break;
    case STRING:
      EmitText(TOKEN_STRING, After());
      break;
    case STRING_QUOTE:
      EmitText(TOKEN_STRING, Here());
      break;
    case DATE:
      EmitText(TOKEN_STRING, After());
      break;
    case OPERATOR_SEEN:
      switch (so_far_) {
        case Op("--"):  EmitOperator('-'); EmitOperator('-'); break;
        case Op("<!"):  EmitOperator('<');                    break;
        case Op("<!-"): EmitOperator('<'); EmitOperator('-'); break;
        default:        EmitOperator(so_far_);                break;
      }
      break;
    case BETWEEN_TOKENS: case COMMENT: case UNDERSCORE_SEEN: case CONTINUED_LINE:
      break;
  }
  EndStatement();
  Emit(TOKEN_END_OF_SCRIPT);
}
// clang-format on

}  // namespace

CScriptTokenList *LexVBScript(const OsServices *services, const OsServices *io, void *source,
                              std::uint32_t is_file, std::uint32_t wide, std::uint32_t big_endian,
                              std::uint32_t start, std::uint32_t length,
                              const std::uint32_t *known_ids, std::int32_t known_count) noexcept {
  return Lex<VBScriptLexer>(services, io, source, is_file, wide, big_endian, start, length,
                            known_ids, known_count);
}

CodeEnd ReadVBScriptCode(std::string_view code, bool html_comment) noexcept {
  return ReadCode<VBScriptLexer>(code, html_comment);
}

}  // namespace velmora
