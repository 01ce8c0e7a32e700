#include "host/content_type.h"

#include <gtest/gtest.h>
#include <string_view>

namespace velmora::host {
namespace {

TEST(ContentType, FindsAndReplacesTheCharset) {
  struct {
    std::string_view value;
    std::string_view charset;
    std::string_view with_x;
  } const cases[] = {
      {"text/html", "", "text/html; charset=X"},
      {"text/html;", "", "text/html;; charset=X"},
      {"text/html;charset=utf-8", "utf-8", "text/html; charset=X"},
      {" text/html ; Charset = \"UTF-8\" ; a=b", "UTF-8", "text/html; charset=X; a=b"},
      {"text/html; charset='utf-8'", "utf-8", "text/html; charset=X"},
      {"text/html; charset=\"utf-8", "utf-8", "text/html; charset=X"},
      {"text/html; a=\"; charset=b\"; charset=c", "c", "text/html; a=\"; charset=b\"; charset=X"},
      {"text/html; charset=; charset=b", "b", "text/html; charset=; charset=X"},
      {"text/html; charsets=a", "", "text/html; charsets=a; charset=X"},
      {"text/html; charset=a; charset=b", "a", "text/html; charset=X; charset=b"},
      {"", "", "; charset=X"},
  };
  for (const auto &c : cases) {
    const ContentType type(c.value);
    EXPECT_EQ(type.Charset(), c.charset) << c.value;
    EXPECT_EQ(type.WithCharset("X"), c.with_x) << c.value;
  }
}

TEST(ContentType, IsPresentedAsTheTypeThatThePluginKnows) {
  struct {
    std::string_view value;
    std::string_view presented;
  } const cases[] = {
      {"text/javascript", "application/x-javascript"},
      {"Application/JavaScript; charset=utf-8", "application/x-javascript; charset=utf-8"},
      {"text/ecmascript ;v=1", "application/x-javascript;v=1"},
      {"application/xhtml+xml; charset=utf-8", "text/html; charset=utf-8"},
      {"text/vbs", "text/vbscript"},
      // Known as they are, or not at all.
      {"text/html; charset=utf-8", "text/html; charset=utf-8"},
      {"text/javascripts", "text/javascripts"},
      {"application/json", "application/json"},
      {"", ""},
  };
  for (const auto &c : cases) EXPECT_EQ(WithKnownType(c.value), c.presented);
}

}  // namespace
}  // namespace velmora::host
