#include "bodies.h"

namespace velmora::bench {
namespace {

using namespace std::string_view_literals;
using enum Blocking;

constexpr std::string_view PAGE = "text/html";
constexpr std::string_view UTF8 = "text/html; charset=utf-8";
constexpr std::string_view JAVASCRIPT = "application/x-javascript";
constexpr std::string_view VBSCRIPT = "text/vbscript";
constexpr std::string_view GIF = "image/gif";
constexpr std::size_t BYTE = 1;

constexpr std::string_view GIF_HEAD = "GIF89a\x10\0\x10\0\0\0\0"sv;
constexpr std::string_view GIF_IMAGE = "GIF89a\x10\0\x10\0\0\0\0,\0\0\0\0\x10\0\x10\0\0\x02"sv;

// clang-format off
constexpr HostileBody BODIES[] = {
    // One tag of any size.
    {"onload in one IMG",              PAGE, "<img ", "onload=a ", ">"},
    {"onclick in one IMG",             PAGE, "<img ", "onclick=a ", ">", EVERYTHING},
    {"onclick among others",           PAGE, "<p ", "onclick=a b=c ", ">", EVERYTHING},
    {"onload and onunload in BODY",    PAGE, "<body ", "onload=a onunload=b ", ">"},
    {"href in one A",                  PAGE, "<a ", "href=javascript:a ", ">", EVERYTHING},
    {"attributes of one letter",       PAGE, "<img ", "a ", ">"},
    {"equals signs",                   PAGE, "<object ", "=", ">"},
    {"values",                         PAGE, "<img ", "a=b ", ">"},
    {"values with an accent",          UTF8, "<a ", "a='\xC3\xA9' ", ">"},
    {"a long address",                 PAGE, "<img src='", "/ads/x", "'>"},
    {"a long name",                    PAGE, "<", "x", ">"},
    {"a quote that never ends",        PAGE, "<a href='", "<b>", ""},
    {"backslashes in a quote",         PAGE, "<a href='", "\\'", ""},
    {"a declaration that never ends",  PAGE, "<!", "a ", ""},
    {"a comment that never ends",      PAGE, "<!--", "--a", ""},
    {"one tag, a byte a call",         PAGE, "<img ", "onclick=a ", ">", EVERYTHING, {}, 0, BYTE},

    // Many elements.
    {"B, never closed",                PAGE, "", "<b>", ""},
    {"A, never closed",                PAGE, "", "<a>", ""},
    {"OBJECT, never closed",           PAGE, "", "<object>", "<param name=movie value=/ads/>"},
    {"APPLET, never closed",           PAGE, "", "<applet>", "<script>", EVERYTHING},
    {"a name of its own each",         PAGE, "", "<b\1>", ""},
    {"closed by the outermost",        PAGE, "<q>", "<a>", "</q>"},
    {"end tags of nothing",            PAGE, "", "</x>", "", NO_SCRIPTS_AS_SUCH, "<b>", 500},
    {"empty tags",                     PAGE, "", "<>", ""},
    {"less-than signs",                PAGE, "", "<", ""},
    {"elements that hold, a byte a call", PAGE, "", "<object>", "", NO_SCRIPTS_AS_SUCH, {}, 0, BYTE},
    {"held text, a byte a call",       PAGE, "<object>", "text <b>", "", NO_SCRIPTS_AS_SUCH, {}, 0, BYTE},
    {"images that go, all held",       PAGE, "<object data=a>", "<img src=/ads/>", ""},
    {"scripts that go, all held",      PAGE, "<object data=a>", "<script>a</script>", "", EVERYTHING},
    {"scripts",                        PAGE, "", "<script>'/a'</script>", ""},
    {"a script that never ends",       PAGE, "<script>", "</scrip", ""},
    {"BODY after BODY",                PAGE, "", "<body onload=a>", "</html>"},
    {"META after META",                PAGE, "", "<meta http-equiv=content-type content=';charset=\1'>", ""},

    // Questions to the ad library.
    {"links behind a long BASE",       PAGE, "", "<a href=b></a>", "", NO_SCRIPTS_AS_SUCH, "<base href='http://x/\2/'>", 500},
    {"images behind a long BASE",      PAGE, "", "<img src=b>", "", NO_SCRIPTS_AS_SUCH, "<base href='http://x/\2/'>", 500},
    {"images behind BASE of one word", PAGE, "<base href='http://x/banner-banner-banner-banner-banner-banner-banner-banner-banner-banner-banner-banner-banner-banner-banner-banner/'>", "<img src=b>", ""},
    {"links on a long host",           PAGE, "", "<a href=/b></a>", "", NO_SCRIPTS_AS_SUCH, "<base href='http://\2/'>", 500},
    {"one long link, told often",      PAGE, "", "</a>", "", NO_SCRIPTS_AS_SUCH, "<a href='/\2'>", 500},
    {"image addresses of hard words",  PAGE, "", "<img src='/ad-ad-ads/banner/1/2/3/ad_'>", ""},

    // Scripts.
    {"slashes in a string",            JAVASCRIPT, "\"", "//a", "\""},
    {"empty strings",                  JAVASCRIPT, "", "\"\",", ""},
    {"strings of addresses",           JAVASCRIPT, "", "'http://www.x.example/ads/a.js',", ""},
    {"one string of addresses",        JAVASCRIPT, "'", "http://x/", "'"},
    {"sizes in a string",              JAVASCRIPT, "'", "width=4 height=6 ", "'"},
    {"a regular expression",           JAVASCRIPT, "a=/", "[/]\\/(", "/"},
    {"divisions",                      JAVASCRIPT, "a", "/a", ""},
    {"comments of a script",           JAVASCRIPT, "", "/**/", ""},
    {"names",                          JAVASCRIPT, "", "a\1 ", ""},
    {"operators",                      JAVASCRIPT, "", "+-", ""},
    {"digits",                         JAVASCRIPT, "", "123", "''"},
    {"numbers, divided",               JAVASCRIPT, "1", "/1", ""},
    {"comment lines",                  JAVASCRIPT, "", "//\n", ""},
    {"signs and slashes",              JAVASCRIPT, "", "++/", ""},
    {"brackets",                       JAVASCRIPT, "", "([{", ""},
    {"a string, a byte a call",        JAVASCRIPT, "'", "/a", "'", NO_SCRIPTS_AS_SUCH, {}, 0, BYTE},
    {"empty strings in VBScript",      VBSCRIPT, "", "\"\" ", ""},
    {"quotes in a VBScript string",    VBSCRIPT, "\"", "\"\"//a", "\""},
    {"VBScript remarks",               VBSCRIPT, "", "'\n", ""},
    {"VBScript remarks, spelt out",    VBSCRIPT, "", "rem\n", ""},
    {"a name full of remarks",         VBSCRIPT, "a", "rem", ""},
    {"names that end in remarks",      VBSCRIPT, "", "arem ", ""},
    {"a number before each date",      VBSCRIPT, "", "1#", ""},
    {"VBScript continuations",         VBSCRIPT, "a", " _\n", ""},

    // Character sets.
    {"UTF-16",                         "text/html; charset=utf-16le", "", "<\0b\0>\0"sv, ""},
    {"shift sequences",                "text/html; charset=iso-2022-jp", "a", "\x1B(B", "<b>"},
    {"letters in ISO-2022-JP",         "text/html; charset=iso-2022-jp", "\x1B$B", "0l", ""},
    {"shifts in UTF-7",                "text/html; charset=utf-7", "ab", "+ZeU-", ""},
    {"composed letters",               "text/html; charset=windows-1258", "", "a\xCC", ""},
    {"bytes that are no UTF-8",        UTF8, "ab", "\xFF", ""},
    {"accents behind empty tags",      UTF8, "ab", "</>\xC3\xA9\xC3\xA9", ""},
    {"tag letters of Unicode",         UTF8, "ab", "\xF3\xA0\x81\x81", "<b>"},
    {"Big5",                           "text/html; charset=big5", "ab", "\xA4\x40<", ""},

    // Pictures.
    {"blocks of one byte",             GIF, GIF_IMAGE, "\1x", "\0;"sv},
    {"extensions of nothing",          GIF, GIF_HEAD, "!\xFE\0"sv, ";"},
    {"frames of nothing",              GIF, GIF_HEAD, ",\0\0\0\0\0\0\0\0\0\2\0"sv, ";"},
    {"a picture, a byte a call",       GIF, GIF_IMAGE, "\1x", "\0;"sv, NO_SCRIPTS_AS_SUCH, {}, 0, BYTE},

    // Behind a content coding.
    {"gzip: nothing but spaces",       PAGE, "", " ", "", NO_SCRIPTS_AS_SUCH, {}, 0, 16U << 10, true},
    {"gzip: B, never closed",          PAGE, "", "<b>", "", NO_SCRIPTS_AS_SUCH, {}, 0, 16U << 10, true},
    {"gzip: onload in one IMG",        PAGE, "<img ", "onload=a ", ">", NO_SCRIPTS_AS_SUCH, {}, 0, 16U << 10, true},
    {"gzip: empty strings",            JAVASCRIPT, "", "\"\",", "", NO_SCRIPTS_AS_SUCH, {}, 0, 16U << 10, true},
};
// clang-format on

constexpr std::string_view CHARSETS[] = {"big5", "utf-8", "koi8-r", "gb18030"};

/// \1 stands for something else each time, \2 for `filling`.
void AppendFilled(std::string &text, std::string_view pattern, std::size_t number,
                  const std::string &filling) {
  const bool is_meta = pattern.starts_with("<meta");
  for (const char c : pattern) {
    if (c == '\1') {
      text +=
          is_meta ? std::string(CHARSETS[number % std::size(CHARSETS)]) : std::to_string(number);
    } else if (c == '\2') {
      text += filling;
    } else {
      text += c;
    }
  }
}

}  // namespace

std::string HostileBody::Text(std::size_t size) const {
  const bool is_binary = content_type == GIF;
  const std::size_t before_size = size * before_per_mille / 1000;
  std::string text(begin);
  if (before.find('\2') != std::string_view::npos) {
    AppendFilled(text, before, 0, std::string(before_size, 'd'));
  } else {
    while (text.size() < before_size) text += before;
  }
  for (std::size_t number = 0; text.size() + end.size() < size; ++number) {
    if (is_binary) {
      text += repeated;
    } else {
      AppendFilled(text, repeated, number, {});
    }
  }
  return text.append(end);
}

std::span<const HostileBody> HostileBodies() {
  return BODIES;
}

std::string_view HostileRules() {
  return "[Adblock Plus 2.0]\n"
         "||ads.example^\n"
         "/ads/\n"
         "-banner-\n"
         "banner*banner*banner*x\n"
         "/banner/*/img^\n"
         "*ad*ad*ad*q\n"
         "/(ad|banner)+[0-9]+$/\n"
         "/\\/a+d+s+\\//$image\n"
         "|http://x/*/b|$image,domain=example.com\n"
         "@@||www.good.example^$script\n";
}

}  // namespace velmora::bench
