// What comes in from the web never becomes markup.
#include "web/markup.h"

#include <gtest/gtest.h>
#include <string>
#include <type_traits>

namespace velmora::web {
namespace {

TEST(Markup, TextStaysText) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain \xC3\xBC", "plain \xC3\xBC"},
      {"<script>alert(1)</script>", "&lt;script&gt;alert(1)&lt;/script&gt;"},
      {"\" onload=\"x", "&quot; onload=&quot;x"},
      {"' onload='x", "&#39; onload=&#39;x"},
      {"&lt;b&gt;", "&amp;lt;b&amp;gt;"},
      // A line break, an unfinished character, a mark that turns the text around.
      {"a\nb", "a\\x0Ab"},
      {"a\xC3", "a\\xC3"},
      {"exe.\xE2\x80\xAEgpj", "exe.\\xE2\\x80\\xAEgpj"},
  };
  for (const auto &[text, html] : cases) {
    Markup markup;
    markup << "<p>" << text << "</p>";
    EXPECT_EQ(markup.Html(), "<p>" + html + "</p>");
  }
}

template <class Type>
concept CanBeWritten = requires(Markup markup, Type value) {
  markup << value;
};

TEST(Markup, TakesNothingAsMarkupThatIsNotAConstantOfTheSource) {
  static_assert(CanBeWritten<std::string> && CanBeWritten<std::string_view>);
  // These would have to be a literal to be one.
  static_assert(!CanBeWritten<const char *> && !CanBeWritten<bool> && !CanBeWritten<char>);
  static_assert(!std::is_convertible_v<std::string, Literal>);
}

TEST(ForQuery, LeavesNothingThatMeansSomethingInAnAddress) {
  EXPECT_EQ(ForQuery("a b&c=d#e/\"\xC3\xBC"), "a%20b%26c%3Dd%23e%2F%22%C3%BC");
}

}  // namespace
}  // namespace velmora::web
