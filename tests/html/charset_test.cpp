#include "html/charset.h"

#include <gtest/gtest.h>

#include "support/html_page.h"
#include "support/log_recorder.h"

namespace velmora {
namespace {

using namespace testing;

TEST(Charset, ParameterOfAContentType) {
  struct Case {
    const char *value;
    bool found;
    const char *charset;
  };
  for (const Case &c : {
           Case{"text/html; charset=\"UTF-8\"", true, "UTF-8"},
           Case{"text/html;charset = utf-8", true, "utf-8"},
           Case{"text/html", false, ""},
           Case{"charset=utf-8", false, ""},
           Case{"text/html; charset=", true, ""},
           Case{"text/html; charset", true, ""},
           Case{"text/html; charset=windows-1252 (latin)", true, "windows-1252"},
           Case{"text/html; a=b; \t CHARSET=' \"koi8-r\" '", true, "koi8-r"},
           Case{"text/html; charset=x; charset=y", true, "x"},
           Case{"text/html; charsets=x", true, ""},
           Case{"text/html; charset:x_1", true, "x_1"},
           Case{"text/html;;charset=a;", true, "a"},
           Case{"text/html; charse=a", false, ""},
           Case{";charset", true, ""},
       }) {
    std::string charset;
    EXPECT_EQ(ParseCharset(c.value, charset), c.found) << c.value;
    EXPECT_EQ(charset, c.charset) << c.value;
  }
}

/// The lines about character sets that a page leaves in the log.
struct PageCase {
  const char *content_type;
  std::string_view page;
  const char *log;
};

using namespace std::string_view_literals;

TEST(Charset, ChoiceIsLogged) {
  const PageCase cases[] = {
      {"text/html", "<p>", ""},
      {"text/html; charset=Iso-8859-1", "<p>", ""},
      {"text/html; charset=", "<p>", "CHARSET (from content type) = \n"},
      {"text/html; charset=utf-8", "<p>",
       "CHARSET (from content type) = utf-8\nCEncoding(utf-8)\n~CEncoding(utf-8)\n"},
      {"text/html; charset=nope", "<p>",
       "CHARSET (from content type) = nope\nCEncoding(nope)\n"
       "*** CEncoding(nope): iconv_open failed\n*** CEncoding(nope): iconv_open failed\n"
       "*** Failed creating CEncoding(nope)\n~CEncoding(nope)\n"},
      {"text/html", "<meta http-equiv=Content-Type content='text/html; charset=iso-8859-1'>", ""},
      {"text/html", "<meta http-equiv=Content-Type content='text/html'>", ""},
      {"text/html", "<meta name=x content='text/html; charset=utf-8'>", ""},
      {"text/html", "<META HTTP-EQUIV=\"content-type\" CONTENT=\"text/html; charset=utf-8\">x",
       "CHARSET (from meta) = utf-8\nCEncoding(utf-8)\n~CEncoding(utf-8)\n"},
      {"text/html", "<meta http-equiv=Content-Type content='text/html; charset='>",
       "CHARSET (from meta) = \nContinue using current encoding (ISO-8859-1)\n"},
      {"text/html", "<meta http-equiv=Content-Type content='a; charset=nope'>",
       "CHARSET (from meta) = nope\nCEncoding(nope)\n*** CEncoding(nope): iconv_open failed\n"
       "*** CEncoding(nope): iconv_open failed\n*** Failed creating CEncoding(nope)\n"
       "~CEncoding(nope)\n"},
      {"text/html", "\xFF\xFE<\0p\0>\0"sv,
       "BOM found: little endian\nCEncoding(UTF-16LE)\n~CEncoding(UTF-16LE)\n"},
      {"text/html", "\0<\0p\0>"sv,
       "Zero byte found: assuming big endian\nCEncoding(UTF-16BE)\n~CEncoding(UTF-16BE)\n"},
  };
  for (const PageCase &c : cases) {
    const LogRecorder log;
    FakeContext context;
    context.content_type = c.content_type;
    EXPECT_EQ(RunPage(context, {c.page}), c.page);
    EXPECT_EQ(LogRecorder::Text(), c.log) << c.content_type << " " << c.page;
  }
}

TEST(Charset, MetaOfALessPreciseNameKeepsWhatTheBytesSaid) {
  std::string page = "\xFF\xFE";
  for (const char c : "<meta http-equiv='content-type' content='text/html; charset=utf-16'>"sv) {
    page += {c, '\0'};
  }
  const LogRecorder log;
  FakeContext context;
  RunPage(context, {page});
  EXPECT_EQ(LogRecorder::Text(),
            "BOM found: little endian\nCEncoding(UTF-16LE)\nCHARSET (from meta) = utf-16\n"
            "Continue using current encoding (UTF-16LE)\n~CEncoding(UTF-16LE)\n");
}

TEST(Charset, MetaTakesEffectFromTheNextCharacter) {
  // The same two bytes before and after the switch, as the element names show.
  const std::string page =
      "<a t=\xC3\xA9><meta http-equiv=content-type content='; charset=utf-8'><a t=\xC3\xA9>";
  FakeContext context;
  context.settings[SETTING_DUMP_HTML_ELEMENTS] = "True";
  const LogRecorder log;
  RunPage(context, {page});
  EXPECT_EQ(LogRecorder::Text(),
            "ELEMENT: A t=\xC3\x83\xC2\xA9\n"
            "ELEMENT: META http-equiv=content-type content='; charset=utf-8'\n"
            "CHARSET (from meta) = utf-8\nCEncoding(utf-8)\nELEMENT: A t=\xC3\xA9\n"
            "~CEncoding(utf-8)\n");
}

}  // namespace
}  // namespace velmora
