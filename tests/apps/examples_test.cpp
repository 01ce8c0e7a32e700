// The example pages through the command and the real plug-in.
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "apps/shell.h"

namespace velmora::command {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// Scripts that are blocked whole give something for each chunk, and an ad whose tag was edited
/// before takes more along the more there is; all else does not depend on how bodies are cut.
constexpr char CATEGORIES[] = " --no-ads --block all --allow javascript,vbscript ";

std::vector<std::string> ExampleBodies() {
  std::vector<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(SOURCE "/examples")) {
    const std::string extension = entry.path().extension();
    if (entry.is_regular_file() && extension != ".md" && extension != ".py") {
      names.push_back(entry.path().filename());
    }
  }
  return names;
}

TEST(Examples, ComeOutTheSameHoweverTheyAreCut) {
  const Shell shell;
  ASSERT_GE(ExampleBodies().size(), 6U);
  for (const std::string &name : ExampleBodies()) {
    SCOPED_TRACE(name);
    const std::string filter = std::string("$velmora filter $examples/") + name + CATEGORIES;
    const Result whole = shell.Run(filter);
    EXPECT_EQ(whole.exit_code, 0);
    for (const char *const size : {"1", "7", "512"}) {
      const Result cut = shell.Run(filter + "--chunk-size " + size);
      EXPECT_EQ(cut.output, whole.output) << size;
      EXPECT_EQ(cut.errors, whole.errors) << size;
    }
    // With every category off they pass untouched.
    const Result off =
        shell.Run("$velmora filter --block none $examples/" + name + " | cmp - $examples/" + name);
    EXPECT_EQ(off.exit_code, 0) << off.output;
  }
}

TEST(Examples, ItemsAreSaidToStandWhereTheyStood) {
  // What goes before an element, or from its own tag, moves no place.
  const struct {
    std::string element;
    int items;
  } parts[] = {{"<!doctype html>", 0},
               {"<body onload='a' onunload='b'>", 2},
               {"<object>c</object>", 1},
               {"<a onclick='d' href='javascript:e' ondblclick=\"f\">g</a>", 3},
               {"<iframe width=468 height=60></iframe>", 1},
               {"<img onload='h'>", 1},
               {"<img width=468 height=60>", 1},
               {"<script>i</script>", 1},
               {"<script src='j'></script>", 1},
               {"<embed type=application/x-shockwave-flash>", 1},
               {"<p onclick=k>", 1}};
  std::string page;
  std::vector<std::string> expected;
  for (const auto &part : parts) {
    for (int i = 0; i < part.items; ++i) expected.push_back(std::to_string(page.size()));
    page += part.element;
  }
  const Shell shell;
  shell.Write("page.html", page);
  for (const std::string size : {"1", "7", "65536"}) {
    const Result result =
        shell.Run("$velmora filter --report json --block all --chunk-size " + size +
                  " page.html 2>&1 >out | grep -o 'offset\":[0-9]*' | cut -d: -f2");
    std::string lines;
    for (const std::string &offset : expected) lines += offset + "\n";
    EXPECT_EQ(result.output, lines) << size << shell.Run("cat out").output;
  }
}

TEST(Examples, ReportsAndResultsAreRight) {
  const Shell shell;
  const Result portal = shell.Run("$velmora filter --block all $examples/portal-windows-1252.html");
  EXPECT_THAT(portal.errors,
              AllOf(HasSubstr(": scripts: onunload=\"openNewsletter()\"\n"),
                    HasSubstr(": scripts: \"javascript:zeigeBoerse('dax')\"\n"),
                    HasSubstr(": scripts: onclick=\"alert('Bald verf\u00FCgbar');"),
                    HasSubstr(": applets: (Applet)\n"), HasSubstr(": activex: (ActiveX)\n"),
                    HasSubstr(": flash: EMBED type=")));
  EXPECT_THAT(portal.output,
              AllOf(HasSubstr("B\xF6rse</A>"), Not(HasSubstr("APPLET")), Not(HasSubstr("ONLOAD"))));

  EXPECT_THAT(shell.Run("$velmora filter $examples/portal-windows-1252.html --block strict").errors,
              AllOf(HasSubstr(": applets: (Applet)\n"), Not(HasSubstr(": scripts: "))));

  const Result timetable = shell.Run("$velmora filter --block all $examples/timetable-utf-16.html");
  EXPECT_THAT(timetable.output, StartsWith("\xFF\xFE<"));
  EXPECT_EQ(timetable.output.size() % 2, 0U);
  EXPECT_THAT(timetable.errors, HasSubstr(": scripts: onresize=\"layout()\"\n"));

  const Result animation = shell.Run("$velmora filter --block still $examples/animation.gif");
  EXPECT_THAT(animation.errors, HasSubstr(": gif-animation: (GIF Animation)\n"));
  EXPECT_EQ(animation.output.back(), ';');
}

TEST(Examples, WhatTheWebSaysIsPutIntoThePlugInsWordsUnlessItIsRaw) {
  const Shell shell;
  shell.Write("a.html", "<meta charset=windows-31j><p onclick=\"\x83\x65\">");
  const std::string filter = "$velmora filter --no-ads --block scripts,javascript a.html ";
  EXPECT_THAT(shell.Run(filter).errors, HasSubstr("onclick=\"\u30C6\""));
  EXPECT_THAT(shell.Run(filter + "--raw").errors, Not(HasSubstr("\u30C6")));
  EXPECT_EQ(shell.Run(filter + "--type text/javascript").output, " ");
  EXPECT_THAT(shell.Run(filter + "--raw --type text/javascript").errors,
              HasSubstr("nothing to filter in text/javascript"));
  // Nor are a page's own policy and the quotes of its handlers heeded then.
  shell.Write("b.html",
              "<body onload=\"a('b')\"><meta http-equiv=Content-Security-Policy "
              "content=\"script-src 'none'\"><body onload=\"c='d'\">");
  const std::string popups = "$velmora filter -q --no-ads --block popups b.html ";
  EXPECT_THAT(shell.Run(popups).output, HasSubstr("<body onload=\"c='d'\">"));
  EXPECT_THAT(shell.Run(popups + "--raw").output, HasSubstr("; c='d; window.open ="));
}

TEST(Examples, TheDebugLogGoesToStandardError) {
  const Shell shell;
  const Result result = shell.Run("$velmora filter -q --log $examples/animation.gif");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.errors, StartsWith("Log started at "));
  EXPECT_EQ(shell.Run("$velmora filter -q $examples/animation.gif").errors, "");
}

}  // namespace
}  // namespace velmora::command
