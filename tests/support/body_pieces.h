// What made-up bodies are put together from: pieces that readers may see differently.
#pragma once

#include <string>
#include <vector>

namespace velmora::testing {

using namespace std::string_literals;

// clang-format off
inline const std::string PAGE_PIECES[] = {
    "<", ">", "</", "<!--", "-->", "--", "-", "<!", "<p>", "</p>", "<div class=\"a b\">", "</div>",
    "<a href='u'>", "<a href=\"/ads/\xC3\xA9\">", "</a>", "<IMG src=/track/x>", "<br/>", "<b", " ",
    "<script>", "</script>", "</SCRIPT>", "<style>", "</style>", "<object>",
    "<param name=movie value=/ads/>", "</object>", "onclick=f()", " a=b", " href=", "=", "\"", "'",
    "\\", "/", "x", "text ", "\n", "\r\n", "\t", "<html>", "</html>", "<body onload='f()'>",
    "<meta http-equiv=content-type content='text/html;charset=", "utf-8'>", "~", "|", "`", "^", "[",
    "{", "0", "\0"s, "\x0B", "\x1C", "\x7F", "\x80", "\x82\xA0", "\x81", "\x83\\", "\x85", "\xA0",
    "\xA1", "\xB0\xA1", "\xC3\xA9", "\xC2\xA0", "\xC3", "\xE2\x82\xAC", "\xE2\x82", "\xE2",
    "\xF0\x9F\x98\x80", "\xFF", "\xFE", "\x8E\xA1", "\x8F\xA1\xA1", "\x81\x30\x81\x30", "\x1B$B",
    "\x1B(B", "\x0E", "\x0F", "~{", "~}", "+AGE-", "\xD8\x00\xDC\x00"s, "\x3C\x00\x62\x00"s,
    "\xE9\xE9\xE9\xE9\xE9\xE9", "some words of text that go on for a while, ",
    "<span id=s1 title='long enough for words of sixteen'>", "<img alt=\"x>'y\" src=\"b.gif\">",
    "<a rel=\"next\" href=\" JavaScript:f('x')\" >", "<i x=\"1\" on=\"2\">", " a=b=\"c>", "= \"d\"",
    " button=\"on\" \nONX=\"e\"", " title=\"some words, long enough for blocks\"", "javascript:", "</b>",
};
// clang-format on

inline const std::vector<std::string> &ScriptPieces() {
  // clang-format off
  static const std::vector<std::string> pieces = {
      "<!--", "-->", "<!-", "<", "<<", ">", "!", "-", "--", "/", "//", "/*", "*/", "*", "=", "/=",
      "\"", "\"", "'", "'", "\\", "\n", "\r", "\r\n", "\n", " ", "\t", ")", "(", "[", "]", "{", "}",
      ",", ";", ".", ":", "?", "~", "|", "&", "^", "%", "+", "0", "1", "7", "98", "0x1f", "1e", "1.",
      "e", "E", "g", "i", "m", "in", "do", "if", "return", "typeof", "synchronized", "a", "x1", "_",
      "$", "@", "@if", "#", "#", "`", "rem", "REM ", "re", "m", "dim", std::string(1, '\0'), "\x80",
      "\xff\xe9", "<![CDATA[", "]]>", "width=", "'468'", "height=\"60", "60", "ad.", "ok!", "two",
      "D27CDB6E-AE6D-11CF-96B8-444553540000", "application/X-shockwave-flash", "</script>",
      "var s = 'text' + /a\\/b/gi;", "a = b / c / d;", "f(\"1\", '2')", "<!--\n",
      "x = \"\"\"\" & #1/1/99#\n", "a-->/b'c/", "-->/'/", "1.e5in/'/",
      std::string(8188, 'x'), std::string(17000, '9') + "/**/'q'",
      std::string(17000, '9') + " rem\n\"q\"", std::string(8200, ' '), std::string(17000, 'z'),
      std::string(9000, '\0')};
  // clang-format on
  return pieces;
}

}  // namespace velmora::testing
