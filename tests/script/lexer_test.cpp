// Both lexers: tables of sources and tokens, through every form of input.
#include <gtest/gtest.h>
#include <random>
#include <span>
#include <sstream>

#include "lexed.h"

namespace velmora::testing {
namespace {

/// A source and its tokens, without the end of the script, as in "id:a 1007 num:1".
using Case = std::pair<std::string_view, std::string_view>;

constexpr std::size_t BLOCK = 256;

std::u16string Widened(std::string_view text) {
  std::u16string units;
  for (const char c : text) units += static_cast<unsigned char>(c);
  return units;
}

/// Lexes a source in every form, so that a block's end falls on each of its bytes.
void ExpectTokens(Lexer lexer, std::u16string_view source, const Tokens &tokens,
                  std::span<const Form> forms = FORMS) {
  Tokens expected = WithCodes(tokens);
  expected.push_back("11fe");
  for (const Form &form : forms) {
    const std::size_t block = form.wide ? BLOCK / 2 : BLOCK;
    for (std::size_t in_first = 0; in_first <= source.size(); ++in_first) {
      const std::size_t padding = in_first == 0 ? 0 : block - std::min(in_first, block);
      FakeServices services;
      const std::u16string padded = std::u16string(padding, u' ').append(source);
      const TokenListPointer list = Lex(lexer, ToBytes(padded, form), form, services);
      ASSERT_EQ(ReadBack(list.get(), form), expected)
          << form << ", " << padding << " blanks in front";
    }
  }
}

Tokens Split(std::string_view text) {
  Tokens tokens;
  std::istringstream words{std::string(text)};
  for (std::string token; std::getline(words, token, ' ');) {
    if (const std::size_t colon = token.find(':'); colon != token.npos) token[colon] = ' ';
    tokens.push_back(token);
  }
  return tokens;
}

void ExpectAll(Lexer lexer, std::span<const Case> cases) {
  for (const auto &[source, tokens] : cases) {
    SCOPED_TRACE(source);
    ExpectTokens(lexer, Widened(source), Split(tokens));
  }
}

/// Keywords get their codes one after the other.
void ExpectKeywords(Lexer lexer, std::string_view keywords, Tokens behind) {
  Tokens tokens;
  const auto blanks = static_cast<unsigned>(std::ranges::count(keywords, ' '));
  for (unsigned i = 0; i <= blanks; ++i) tokens.push_back(Hex(0x8000 + i));
  tokens.insert(tokens.end(), behind.begin(), behind.end());
  ExpectTokens(lexer, Widened(keywords), tokens);
}

TEST(JavaScriptLexer, Words) {
  ExpectKeywords(
      LexJavaScript,
      "do if in @if for int new try var @end @set byte case char else enum goto long null this "
      "true void with @elif break catch class const false final float short super throw while "
      "@cc_on delete double export import native public return static switch throws typeof "
      "boolean default extends finally package private abstract continue debugger function "
      "volatile interface protected transient implements instanceof synchronized",
      {});
  static const Case cases[] = {
      {"", ""},
      {" \t\r\n\f#\\`\x7f", ""},
      // Letter case counts; "@" only begins a name; what is longer than any keyword is none.
      {"Var a@if do1 $_ _9$", "id:Var id:a 8003 id:do1 id:$_ id:_9$"},
      {"synchronizedx synchronizedxxxxxxxxxvar", "id:synchronizedx id:synchronizedxxxxxxxxxvar"},
      {"ab\xe9"
       "cd",
       "id:ab id:cd"},
  };
  ExpectAll(LexJavaScript, cases);
}

TEST(JavaScriptLexer, Operators) {
  static const Case cases[] = {
      {";.[]{}(),?:~", "1101 1108 1106 1107 1102 1103 1104 1105 1100 1025 1026 100e"},
      {"! % & * + - < = > ^ |", "100a 1004 100b 1002 1000 1001 1023 1007 1021 100d 100c"},
      {"!= %= && &= *= ++ += -- -= << <= == >= >> ^= |= ||",
       "101e 1016 1008 1017 1014 1005 1012 1006 1013 100f 1024 101d 1022 1010 1019 1018 1009"},
      {"!== <<= === >>= >>> >>>=", "1020 101a 101f 101b 1011 101c"},
      {"==== =!= |&&| >>>>= a+++b",
       "101f 1007 1007 101e 100c 1008 100c 1011 1022 id:a 1005 1000 id:b"},
      {"a<!b<!-b", "id:a 1023 100a id:b 1023 100a 1001 id:b"},
      // At the end of the input.
      {"a|", "id:a 100c"},
      {"a<<", "id:a 100f"},
      {"a>>>", "id:a 1011"},
      {"a!=", "id:a 101e"},
      {"a/", "id:a"},
      {"a<!", "id:a 1023 100a"},
      {"a<!-", "id:a 1023 100a 1001"},
  };
  ExpectAll(LexJavaScript, cases);
}

TEST(JavaScriptLexer, Comments) {
  static const Case cases[] = {
      {"a//b\nc//d", "id:a id:c"},
      {"a-->b/*b*c**/d/*/e*/f/*", "id:a 1006 1021 id:b id:d id:f"},
      {"<!-- a b\nc-->d\n--> --", "id:c id:d 1006"},
      {"<!--\r--", "1006"},
      {"<!--\na---b", "id:a 1006 1001 id:b"},
      {"<!--\na-=--b", "id:a 1013 1006 id:b"},
  };
  ExpectAll(LexJavaScript, cases);
}

TEST(JavaScriptLexer, Numbers) {
  static const Case cases[] = {
      {"0x1F 0Xg 0x;", "num:0x1F num:0X id:g num:0x 1101"},
      {"00;0665;0668;017 0777",
       "num:00 1101 num:0665 1101 num:066 num:8 1101 num:01 num:7 num:07 num:77"},
      {"09.5e+7 0.5 0e1", "num:09.5e+7 num:0 1108 num:5 num:0 id:e1"},
      {"1.5.2 1.e3..5", "num:1.5 1108 num:2 num:1.e3 1108 1108 num:5"},
      {"1e5 1E-5 1e+ 1ex", "num:1e5 num:1E-5 num:1e+ num:1e id:x"},
      // At the end of the input: a lone 0 goes, everything else stays.
      {"x=0", "id:x 1007"},
      {"x=0 ", "id:x 1007 num:0"},
      {"07", "num:07"},
      {"0x", "num:0x"},
      {"12.", "num:12."},
      {"1e", "num:1e"},
      {"1e+", "num:1e+"},
  };
  ExpectAll(LexJavaScript, cases);
}

TEST(JavaScriptLexer, Strings) {
  static const Case cases[] = {
      {"'a''b'\"c'd\"\"\"''", "str:a str:b str:c'd str: str:"},
      {R"('a\'b\\'+"\"")", R"(str:a\'b\\ 1000 str:\")"},
      {"'ab\ncd'", "str:ab id:cd str:"},
      {"'a\\\nb' 'c\\\r\nd' 'e\\\rf'", "str:a\\\nb str:c\\\r\nd str:e\\\rf"},
      {"'a\\\r'", "str:a\\\r"},
      {"'\t\xe9'", "str:\t\\u00e9"},
      {"'ab", "str:ab"},
      {"'ab\\", "str:ab\\"},
      {"'ab\\\r", "str:ab\\\r"},
      {"'", "str:"},
  };
  ExpectAll(LexJavaScript, cases);
}

TEST(JavaScriptLexer, RegularExpressions) {
  static const Case cases[] = {
      {"a / b / c", "id:a 1003 id:b 1003 id:c"},
      {"/a/; x = /ab+c/gi; return /a/g.b",
       "str:/a/ 1101 id:x 1007 str:/ab+c/gi 1101 802a str:/a/g 1108 id:b"},
      {"(a)/b/c;1/2;a /= /=/",
       "1104 id:a 1105 1003 id:b 1003 id:c 1101 num:1 1003 num:2 1101 id:a 1015 1015"},
      // After a string, a bracket or a brace a "/" never divides.
      {"'a'/b/c[1]/d/c}/b/mx",
       "str:a str:/b/ id:c 1106 num:1 1107 str:/d/ id:c 1103 str:/b/m id:x"},
      {R"(=/a\/[/]/)", R"(1007 str:/a\/[/ 1107)"},
      {"=/ab\nc", "1007 str:/ab id:c"},
      {"=/a\\\nb/", "1007 str:/a\\\nb/"},
      {"=/a", "1007 str:/a"},
      {"=/a\\", "1007 str:/a\\"},
      {"=/a/g", "1007 str:/a/g"},
  };
  ExpectAll(LexJavaScript, cases);
}

TEST(VBScriptLexer, Words) {
  ExpectKeywords(
      LexVBScript,
      "do if in on to dim end for get let new set sub call case each else exit goto loop next "
      "null step then true wend with byref byval class const erase error false redim until while "
      "elseif option public resume select default execute nothing private explicit function "
      "preserve property randomize executeglobal",
      {"11fd"});
  static const Case cases[] = {
      {"", ""},
      {"  \t ?@!$;", ""},
      {"Do IF is oN or ExecuteGlobal", "8000 8001 1009 8003 100d 8033 11fd"},
      {"and eqv imp mod not xor", "1001 1005 1007 100a 100c 100f 11fd"},
      {"Dim DIM dImX_1 executeglobals", "8005 8005 id:dimx_1 id:executeglobals 11fd"},
      {"a\xe9"
       "b",
       "id:a id:b 11fd"},
  };
  ExpectAll(LexVBScript, cases);
}

TEST(VBScriptLexer, OperatorsAndStatements) {
  static const Case cases[] = {
      {"& ( ) * + , - . / < = > \\ ^",
       "1003 1100 1101 100b 1000 1103 100e 1102 1004 1010 1002 1011 1008 1006 11fd"},
      {"<= <> >= => =<", "1012 1013 1014 1002 1011 1002 1010 11fd"},
      {"a<!b<!-b--b", "id:a 1010 id:b 1010 100e id:b 100e 100e id:b 11fd"},
      {"a<!", "id:a 1010 11fd"},
      {"a<!-", "id:a 1010 100e 11fd"},
      {"a<", "id:a 1010 11fd"},
      {"a.", "id:a 1102 11fd"},
      // Statement ends.
      {"\n\r\na\n\n\r\nb\n", "id:a 11fd id:b 11fd"},
      {"::a::b:", "11fd 11fd id:a 11fd 11fd id:b 11fd"},
      {"a _ \t\r\n\n\r b _c", "id:a id:b id:c 11fd"},
      {"a _", "id:a 11fd"},
      {"a _\n", "id:a 11fd"},
      // Comments.
      {"'a\nb 'c\nd'", "id:b 11fd id:d 11fd"},
      {"x = 1 : REM note\ny", "id:x 1002 num:1 11fd id:y 11fd"},
      {"x Rem note\ny", "id:x id:y 11fd"},
      {"rem\nremx rem", "id:remx id:rem 11fd"},
      {"<!-- a\nb--c-->d -", "id:b 100e 100e id:c id:d 100e 11fd"},
      {"<!--\na--", "id:a 100e 100e 11fd"},
      {"<!--\na-b", "id:a 100e id:b 11fd"},
  };
  ExpectAll(LexVBScript, cases);
}

TEST(VBScriptLexer, Literals) {
  static const Case cases[] = {
      {"12 1.5 .5 1e5 1.E-3 1e+ 2ex",
       "num:12 num:1.5 num:.5 num:1e5 num:1.E-3 num:1e+ num:2e id:x 11fd"},
      {"&H1F", "1003 id:h1f 11fd"},
      {"007.", "num:007. 11fd"},
      {"0", "num:0 11fd"},
      {"1e", "num:1e 11fd"},
      {R"("a""b" & "")", R"(str:a""b 1003 str: 11fd)"},
      {"\"ab\ncd\"a'b\"c", "str:ab 11fd id:cd str:a'b id:c 11fd"},
      {"\"ab", "str:ab 11fd"},
      {"\"ab\"", "str:ab 11fd"},
      {"\"ab\"\"", "str:ab\"\" 11fd"},
      {"#1/2/2005#+", "str:#1/2/2005# 1000 11fd"},
      {"#1/2\n#", "str:#1/2\n 11fd str:# 11fd"},
      {"#", "str:# 11fd"},
  };
  ExpectAll(LexVBScript, cases);
}

TEST(Lexers, CompareUnitsWhole) {
  // Units whose low byte alone would be a letter, a quote, a digit, a line break.
  const std::u16string source = u"a\u0161b '\u0127x\u010d' \u0131";
  const std::span<const Form> wide(FORMS + 1, 2);
  ExpectTokens(LexJavaScript, source, {"id a", "id b", "str \\u0127x\\u010d"}, wide);
  ExpectTokens(LexVBScript, u"\"\u0122\"\u0141x\u010a", {"str \\u0122", "id x", "11fd"}, wide);
}

TEST(Lexers, KnownIdentifiers) {
  // A name whose code would be a keyword's is moved up.
  std::string low;
  for (int i = 0; low.empty(); ++i) {
    const std::string name = std::string("n").append(std::to_string(i));
    if ((NameCrc(name) & 0x3FFF) < 0x100) low = name;
  }
  std::vector<std::uint32_t> known = {NameCrc("abc"), NameCrc(low), NameCrc("zz")};
  std::ranges::sort(known);
  FakeServices services;
  const TokenListPointer list =
      Lex(LexJavaScript, std::string("abc/") + low + "/x", PLAIN, services, known);
  EXPECT_EQ(ReadBack(list.get()), (Tokens{Hex(0x8000 | (NameCrc("abc") & 0x3FFF)), "1003",
                                          Hex(0x8100 | (NameCrc(low) & 0x3FFF)), "1003",
                                          Hex(0xC000 | (NameCrc("x") & 0x3FFF)), "11fe"}));
}

TEST(Lexers, SourcesThatEndEarly) {
  constexpr Form file{true, false, false, true};
  constexpr Form wide_file{true, true, false, true};
  const std::string text = std::string(250, ' ') + "a 'bcdefghij";
  const std::string wide("a\0b\0c", 5);
  const struct {
    const char *what;
    std::string bytes;
    Form form;
    std::uint32_t start;
    std::uint32_t length;
    Tokens tokens;
  } cases[] = {
      {"from an offset", text, file, 252, LENGTH_TO_END, {"str bcdefghij"}},
      {"a given length", text, file, 250, 1, {"id a"}},
      // What could not be read whole takes what was pending with it.
      {"a file that is too short", text, file, 0, 1000, {"id a"}},
      {"the same after a block", text, file, 250, 270, {}},
      {"a start that cannot be", text, file, 0x80000000, 1, {}},
      {"an odd length", wide, wide_file, 0, 5, {"id ab"}},
      {"a stray byte", wide, wide_file, 0, LENGTH_TO_END, {"id ab"}},
      {"an odd length in memory", {"\0a\0b\0", 5}, {false, true, true, true}, 0, 5, {"id ab"}},
      {"one byte", "a", wide_file, 0, LENGTH_TO_END, {}},
  };
  for (const auto &test : cases) {
    FakeServices services;
    std::string bytes = test.bytes;
    void *source = test.form.is_file ? services.MakeFile(bytes) : bytes.data();
    const TokenListPointer list(LexJavaScript(&services, &services, source, test.form.is_file,
                                              test.form.wide, test.form.big_endian, test.start,
                                              test.length, nullptr, 0));
    Tokens expected = WithCodes(test.tokens);
    expected.push_back("11fe");
    EXPECT_EQ(ReadBack(list.get(), test.form), expected) << test.what;
    if (test.form.is_file) services.CloseFile(&services, source);
  }
}

TEST(Lexers, AnySourceGivesTheSameTokensInEveryForm) {
  static constexpr std::string_view ALPHABET[] = {
      "a",  "B",  "rem ", "var ", "0", "1", "7", "x",    "e",      ".",  "'",  "\"", "\\",
      "\n", "\r", "/",    "*",    "=", "<", "!", "-",    "--",     ">",  "#",  "&",  "<!--\n",
      "(",  ")",  "_",    " ",    "+", ":", "g", "\x80", "\\\r\n", "/*", "*/", "//"};
  std::mt19937 random(20051);
  std::uniform_int_distribution<std::size_t> letter(0, std::size(ALPHABET) - 1);
  std::uniform_int_distribution<int> length(0, 400);
  for (int round = 0; round < 400; ++round) {
    std::string source;
    for (int i = length(random); i > 0; --i) source += ALPHABET[letter(random)];
    for (const Lexer lexer : {LexJavaScript, LexVBScript}) {
      FakeServices services;
      const Tokens expected = ReadBack(Lex(lexer, source, PLAIN, services).get());
      for (const Form &form : FORMS) {
        const std::string bytes = ToBytes(Widened(source), form);
        ASSERT_EQ(ReadBack(Lex(lexer, bytes, form, services).get(), form), expected) << form << "\n"
                                                                                     << source;
      }
    }
  }
}

}  // namespace
}  // namespace velmora::testing
