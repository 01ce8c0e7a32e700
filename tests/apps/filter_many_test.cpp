// velmora filter over folders, its reports, edits and policies, with the fake plug-in.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "apps/pseudo_terminal.h"
#include "apps/shell.h"

namespace velmora::command {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(FilterFolders, KeepsThePlacesOfFilesAndLeavesEarlierResultsAlone) {
  const Shell shell;
  shell.Run("mkdir -p site/sub");
  shell.Write("site/b.html", "b<ad>");
  shell.Write("site/sub/a.html", "a<ad>");
  shell.Write("site/note.txt", "n<ad>");
  shell.Write("c.html", "c<ad>");
  const std::pair<std::string, std::string> cases[] = {
      {"site c.html -o out", "out/b.html b\nout/c.html c\nout/note.txt n<ad>\nout/sub/a.html a\n"},
      {"site -o site/out", "site/out/b.html b\nsite/out/note.txt n<ad>\nsite/out/sub/a.html a\n"},
      {"./site/ -o site/out",
       "site/out/b.html b\nsite/out/note.txt n<ad>\nsite/out/sub/a.html a\n"},
      {"site/sub/ -o site/sub", "site/sub/a.html a\n"},
  };
  for (const auto &[arguments, files] : cases) {
    SCOPED_TRACE(arguments);
    const Result result = shell.Filter("-q " + arguments);
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    const std::string folder = files.substr(0, files.rfind('/', files.find(' ')));
    EXPECT_EQ(
        shell.Run("for f in $(find " + folder + " -type f | sort); do echo $f $(cat $f); done")
            .output,
        files);
  }
  const Result several = shell.Filter("site");
  EXPECT_EQ(several.exit_code, 2);
  EXPECT_EQ(several.errors, "velmora: several files need -o DIR\n");
}

TEST(FilterFolders, SumsUpAtTheEndAndShowsABarOnATerminalOnly) {
  const Shell shell;
  shell.Write("a.html", "a<ad><ad>");
  shell.Write("b.html", "b");
  const std::string arguments = "a.html b.html none.html -o out";
  const std::string totals = "3 files (1 failed), 10 bytes in, 2 out, 0.";
  const Result plain = shell.Filter(arguments);
  EXPECT_EQ(plain.exit_code, 1);
  EXPECT_THAT(plain.errors, AllOf(HasSubstr("  ad-elements                  2\n"),
                                  HasSubstr(totals), Not(HasSubstr("\r"))));
  const std::vector<std::string> words = {COMMAND_PATH, "filter", "--plugin", FAKE_PLUGIN, "-o",
                                          "out",        "a.html", "b.html",   "none.html"};
  PseudoTerminal terminal(shell.Folder(), words);
  EXPECT_EQ(terminal.ExitCode(), 1);
  EXPECT_THAT(terminal.Shown(),
              AllOf(HasSubstr("\r\x1B[K[------------------------] 0/3 a.html"),
                    HasSubstr("\r\x1B[K[########----------------] 1/3 b.html"),
                    HasSubstr("\r\x1B[Ka.html: ad-elements: <ad>"), HasSubstr(totals)));
}

TEST(FilterReports, ComeInJsonAnObjectALine) {
  const Shell shell;
  shell.Write("a.html", "a<ad>");
  const Result result = shell.Filter(
      "--report json --url \"$(printf 'http://b\\377\"c\\n/')\" a.html none.html -o out");
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.errors,
            "{\"file\":\"a.html\",\"category\":\"ad-elements\",\"code\":501,\"item\":\"<ad>\","
            "\"detail\":\"b\uFFFD\\\"c\\n/\"}\n"
            "{\"file\":\"none.html\",\"error\":\"No such file or directory\"}\n");
  EXPECT_EQ(shell.Run("$velmora filter --report xml a.html").exit_code, 2);
}

TEST(FilterDiff, ShowsEachEditAndWritesResultsOnlyWhereTold) {
  const Shell shell;
  shell.Write("a.html", "a<ad>b\n<ad><ad>c");
  shell.Write("b.html", "b");
  const std::string edits =
      "a.html @1 4 -> 0\n- <ad>\n"
      "a.html @7 8 -> 0\n- <ad><ad>\n";
  for (const std::string chunk : {"65536", "1", "3"}) {
    const Result result = shell.Filter("-q --diff a.html b.html --chunk-size " + chunk);
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output, edits) << chunk;
    EXPECT_EQ(shell.List(), "a.html\nb.html\n");
  }
  EXPECT_EQ(shell.Filter("-q --diff a.html -o out").output, edits);
  EXPECT_EQ(shell.Read("out"), "ab\nc");
  EXPECT_EQ(shell.Filter("--diff a.html >/dev/full").exit_code, 1);
}

TEST(FilterPolicy, DecidesByAddressAndClient) {
  const Shell shell;
  shell.Write("page.html", "a<ad>");
  shell.Write("velmora.toml", R"([filter]
block = "ads"
[ads]
enabled = false
[[rule]]
clients = "10.1.0.0/16"
allow = "ads"
[allow]
sites = "bank.example"
)");
  const std::string filter = "--policy velmora.toml page.html ";
  for (const std::string who : {"", "--client 10.2.0.1", "--url http://www.example/"}) {
    EXPECT_EQ(shell.Filter(filter + who).output, "a") << who;
  }
  for (const std::string who :
       {"--client 10.1.0.1", "--url http://www.bank.example/", "--allow ads"}) {
    EXPECT_EQ(shell.Filter(filter + who).output, "a<ad>") << who;
  }
  EXPECT_EQ(shell.Run("$velmora filter --policy velmora.toml --block all page.html").exit_code, 2);
  shell.Write("velmora.toml", "[filter]\nblock = 3");
  const Result bad = shell.Filter("--policy velmora.toml page.html");
  EXPECT_EQ(bad.exit_code, 1);
  EXPECT_EQ(bad.errors, "velmora: velmora.toml:2:9: unknown category \"3\"\n");
}

TEST(FilterPolicy, SaysWhatHappensBeyondALimit) {
  const Shell shell;
  const std::string page = "<" + std::string(5000, 'a') + "<ad>";
  shell.Write("page.html", page);
  const struct {
    std::string beyond;
    int exit_code;
    std::string output;
    std::string message;
  } cases[] = {
      {"pass", 0, page, "page.html: more bytes held back than allowed: the rest is not filtered\n"},
      {"fail", 1, "", "velmora: page.html: more bytes held back than allowed (see --max-held)\n"},
  };
  for (const auto &c : cases) {
    shell.Write("velmora.toml",
                "[filter]\nblock = \"all\"\n[limits]\nheld-bytes = \"2K\"\nbeyond = \"" + c.beyond +
                    "\"\n");
    const Result result = shell.Run(
        "FAKE_FAULT=hold-all $velmora filter --plugin $plugin --policy velmora.toml "
        "--chunk-size 100 page.html");
    EXPECT_EQ(result.exit_code, c.exit_code);
    EXPECT_EQ(result.output, c.output);
    EXPECT_THAT(result.errors, HasSubstr(c.message));
  }
}

}  // namespace
}  // namespace velmora::command
