// velmora filter with the fake plug-in: it removes "<ad>" (ad-urls) and holds back from an open
// "<".
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "apps/shell.h"

namespace velmora::command {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

TEST(FilterCommand, WritesTheBodyToStandardOutputAndTheReportToStandardError) {
  const Shell shell;
  shell.Write("page.html", "a<ad>b<p>c");
  const Result result = shell.Filter("--url http://example.com/x page.html");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.output, "ab<p>c");
  EXPECT_EQ(result.errors,
            "page.html: ad-elements: <ad>  example.com\n"
            "page.html: 1 blocked, 10 bytes in, 6 out\n");
}

TEST(FilterCommand, ShowsTextsFromThePageSafely) {
  const Shell shell;
  shell.Write("page.html", "<ad>");
  const std::pair<std::string, std::string> cases[] = {
      {"a\x1B[2Jb\tc\x7F", "a\\x1B[2Jb\\x09c\\x7F"},
      {"b\u00F6rse\u0085", "b\u00F6rse\\xC2\\x85"},
      {std::string(159, 'a') + "\u00F6\u00F6", std::string(159, 'a') + "..."},
  };
  for (const auto &[host, shown] : cases) {
    const Result result = shell.Filter("page.html --url 'http://" + host + "'");
    EXPECT_THAT(result.errors, StartsWith("page.html: ad-elements: <ad>  " + shown + "\n"));
  }
}

TEST(FilterCommand, GivesTheSameForEveryInputAndChunkSize) {
  const Shell shell;
  shell.Write("page.html", "a<ad>b<p>c<ad><ad>d<");
  for (const std::string arguments :
       {"page.html", "--type html - <page.html", "--chunk-size 1 page.html",
        "--chunk-size 1 --type text/html - <page.html", "--chunk-size 7 -q page.html"}) {
    SCOPED_TRACE(arguments);
    const Result result = shell.Filter(arguments);
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output, "ab<p>cd<");
  }
}

TEST(FilterCommand, ChoosesTheTypeByNameAndContent) {
  const Shell shell;
  const std::tuple<std::string, std::string, bool> cases[] = {
      {"a.html", "<ad>", true},
      {"a.HTM", "<ad>", true},
      {"a.asp", " \n<!DOCTYPE html><ad>", true},
      {"a", "\xEF\xBB\xBF<HTML><ad>", true},
      {"a.gif", "<html><ad>", false},
      {"a.js", "<html><ad>", false},
      {"b", "GIF89a<html><ad>", false},
      {"a.txt", "about <html><ad>", false},
      {"empty", "", false},
      {"-", "<html><ad>", true},
      {"-", "var a;", false},
  };
  for (const auto &[name, body, is_filtered] : cases) {
    SCOPED_TRACE(name);
    shell.Write(name, body);
    const Result result = shell.Filter(name + " <" + name);
    // What only the bytes tell, the report tells too.
    const bool is_known = name.find('.') != name.npos && name != "a.asp" && name != "a.txt";
    EXPECT_EQ(result.errors.find("taken for ") == std::string::npos, is_known);
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output == body, !is_filtered);
    EXPECT_EQ(result.errors.find("nothing to filter in") != std::string::npos, !is_filtered);
  }
}

TEST(FilterCommand, TakesCodingsOffAsAProxyDoes) {
  const Shell shell;
  shell.Write("a.html", "<p><ad>");
  shell.Write("b.js", "<p><ad>");
  shell.Run("mkdir in; gzip -c a.html >in/a.html.gz; gzip -c b.js >in/b.js.gz; cp in/a.html.gz a");
  for (const std::string input : {"in/a.html.gz", "- <a", "a", "--coding gzip --type html a"}) {
    const Result result = shell.Filter(input);
    EXPECT_EQ(result.output, "<p>") << result.errors;
    EXPECT_THAT(shell.Filter("--diff -q " + input).output, HasSubstr(" @3 4 -> 0\n- <ad>\n"));
  }
  // What goes on coded keeps its name in a folder, what does not loses the coding's.
  EXPECT_EQ(shell.Filter("-q in -o out").exit_code, 0);
  EXPECT_EQ(shell.Run("cd out; ls; cat a.html; cmp b.js.gz ../in/b.js.gz").output,
            "a.html\nb.js.gz\n<p>");
  EXPECT_EQ(shell.Filter("--raw -q in/a.html.gz | cmp - in/a.html.gz").exit_code, 0);
  EXPECT_EQ(shell.Filter("in a.html -o out").exit_code, 2) << "two files of a name";
  shell.Run("head -c 15 a >cut.html.gz");
  const Result cut = shell.Filter("cut.html.gz");
  EXPECT_EQ(cut.exit_code, 1);
  EXPECT_EQ(cut.errors, "velmora: cut.html.gz: content coding truncated\n");
}

TEST(FilterCommand, BlocksWhatItIsToldTo) {
  const Shell shell;
  shell.Write("page.html", "a<ad>");
  for (const std::string options : {"", "--block 305", "--block ads", "--allow scripts"}) {
    EXPECT_EQ(shell.Filter("page.html " + options).output, "a") << options;
  }
  for (const std::string options : {"--block flash", "--block all --allow ads", "--block none"}) {
    EXPECT_EQ(shell.Filter("page.html " + options).output, "a<ad>") << options;
  }
}

TEST(FilterCommand, WritesFilesWhereItIsTold) {
  const Shell shell;
  shell.Write("a.html", "a<ad>");
  shell.Write("b.html", "b<ad>");
  EXPECT_EQ(shell.Filter("a.html -o out.html").exit_code, 0);
  EXPECT_EQ(shell.Read("out.html"), "a");
  EXPECT_EQ(shell.Filter("a.html -o folder/").exit_code, 0);
  EXPECT_EQ(shell.Read("folder/a.html"), "a");
  EXPECT_EQ(shell.Filter("a.html -o a.html").exit_code, 0) << "in place";
  EXPECT_EQ(shell.Read("a.html"), "a");
  EXPECT_EQ(shell.Filter("b.html -o /dev/stdout").output, "b");

  // A file that fails leaves the others.
  const Result several = shell.Filter("none.html b.html -o new");
  EXPECT_EQ(several.exit_code, 1);
  EXPECT_EQ(several.output, "");
  EXPECT_THAT(several.errors, HasSubstr("velmora: none.html: No such file or directory\n"));
  EXPECT_EQ(shell.Read("new/b.html"), "b");
  EXPECT_EQ(shell.List(), "a.html\nb.html\nfolder\nnew\nout.html\n") << "nothing else is left";
}

TEST(FilterCommand, AnUnfinishedResultIsNotLeftBehind) {
  const Shell shell;
  shell.Write("a.html", std::string(5000, 'a'));
  const Result held = shell.Run(
      "FAKE_FAULT=hold-all $velmora filter --plugin $plugin --chunk-size 100 --max-held 2k a.html "
      "-o out.html");
  EXPECT_EQ(held.exit_code, 1);
  EXPECT_EQ(held.errors, "velmora: a.html: more bytes held back than allowed (see --max-held)\n");
  EXPECT_EQ(shell.List(), "a.html\n");
  // Nor when a signal ends the program while its input goes on.
  for (const std::string signal : {"INT", "TERM", "HUP", "PIPE"}) {
    const Result ended = shell.Run("signal=" + signal + R"(
        mkfifo pipe
        $velmora filter --plugin $plugin --type html - -o out.html <pipe &
        exec 9>pipe
        head -c 70000 /dev/zero >&9
        for i in $(seq 600); do ls out.html.part-* >.found 2>&1 && break; sleep 0.05; done
        ls
        kill -$signal $(ls | sed 's/.*part-//;t;d')
        wait $!
        echo $?
        exec 9>&-
        rm pipe)");
    EXPECT_THAT(ended.output, MatchesRegex("a.html\nout.html.part-[0-9]+\npipe\n[0-9]+\n"));
    EXPECT_EQ(shell.List(), "a.html\n") << signal;
  }
  const Result full = shell.Filter("a.html >/dev/full");
  EXPECT_EQ(full.exit_code, 1);
  EXPECT_THAT(full.errors, HasSubstr("standard output"));
}

TEST(FilterCommand, RefusesACommandLineThatMakesNoSense) {
  const Shell shell;
  shell.Write("a.html", "");
  const std::pair<std::string, std::string> cases[] = {
      {"", "sub-command"},
      {"dance", "unexpected word \"dance\"\n"},
      {"fliter a.html", "unexpected word \"fliter\"; did you mean \"filter\"?\n"},
      {"help lexx", "did you mean \"lex\"?"},
      {"filter a.html --blok all", "unknown option \"--blok\"; did you mean \"--block\"?\n"},
      {"filter a.html --type foo", "--type: \"foo\" is neither html, js, vbs, gif nor a content"},
      {"filter a.html --client 1.2.3", "--client: \"1.2.3\" is no IP address"},
      {"filter a.html --charset klingon", "\"klingon\" is no character set that browsers know"},
      {"filter a.html -o new/a.html", "there is no folder new"},
      {"filter a.html - -o new/folder/", "there is no folder new"},
      {"filter a.html b.html -o a.html", "-o: a.html is no folder"},
      {"filter", "FILE"},
      {"filter a.html --no-such", "--no-such"},
      {"filter a.html --block flash,popup", "unknown category \"popup\""},
      {"filter a.html --allow 999", "unknown category \"999\""},
      {"filter a.html --chunk-size 0", "--chunk-size"},
      {"filter a.html --chunk-size many", "--chunk-size"},
      {"filter a.html --max-held 1x", "--max-held"},
      {"filter a.html --max-time 10", "--max-time: \"10\" should be a time as"},
      {"filter a.html --raw --coding gzip", "--raw"},
      {"filter a.html --set DataHandlers", "NAME=VALUE"},
      {"filter a.html a.html", "-o DIR"},
      {"filter a.html ./a.html -o folder", "two files would become folder/a.html"},
      {"filter a.html - -o folder", "standard input"},
  };
  for (const auto &[arguments, message] : cases) {
    const Result result = shell.Run("$velmora " + arguments);
    EXPECT_EQ(result.exit_code, 2) << arguments;
    EXPECT_EQ(result.output, "") << arguments;
    EXPECT_THAT(result.errors, AllOf(HasSubstr("velmora: "), HasSubstr(message)));
  }
  EXPECT_EQ(shell.List(), "a.html\n");
}

TEST(FilterCommand, NamesTheLibraryThatIsMissing) {
  const Shell shell;
  shell.Write("a.html", "");
  for (const std::string options : {"--plugin none.so", "--plugin other.so --ad-library none.so"}) {
    const Result result = shell.Run("$velmora filter a.html " + options);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.errors, "velmora: none.so: no such file\n") << "the ad library comes first";
  }
}

TEST(FilterCommand, HelpAndVersionGoToStandardOutput) {
  const Shell shell;
  EXPECT_THAT(shell.Run("$velmora --version").output, MatchesRegex("velmora [0-9.]+\n"));
  const Result help = shell.Run("$velmora filter --help");
  EXPECT_EQ(help.exit_code, 0);
  EXPECT_EQ(help.errors, "");
  EXPECT_THAT(help.output,
              AllOf(HasSubstr("--chunk-size N"), HasSubstr("gif-animation        400")));
  EXPECT_THAT(shell.Run("$velmora help filter").output,
              AllOf(HasSubstr("Usage: velmora filter"), HasSubstr("--chunk-size N")));
  EXPECT_EQ(shell.Run("$velmora help").output, shell.Run("$velmora --help").output);
}

}  // namespace
}  // namespace velmora::command
