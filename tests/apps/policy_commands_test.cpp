// velmora check-config and velmora categories.
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "apps/shell.h"
#include "host/bodies/categories.h"
#include "host/policy/policy.h"

namespace velmora::command {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char POLICY[] = R"([filter]
block = ["ad-urls", "gif-animation"]
[[rule]]
name = "Pupils"
clients = ["10.1.0.0/16", "2001:db8::/32"]
block = "flash"
settings.DataHandlers = "HTML"
option-block = "00000000 00000200"
[[rule]]
sites = ["plain.example"]
only = []
[[rule]]
sites = ["calm.example"]
only = "calm"
[allow]
sites = ["bank.example"]
[limits]
held-bytes = 5000
beyond = "fail"
[event-log]
file = "/var/log/events.jsonl"
[https]
splice = ["www.bank.example", "bank.example", "a.example", "192.0.2.1"]
)";

TEST(CheckConfig, PrintsWhatApplies) {
  const Shell shell;
  shell.Write("velmora.toml", POLICY);
  const std::pair<std::string, std::string> cases[] = {
      {"--url http://www.example/ --client 10.1.2.3",
       "http://www.example/ for 10.1.2.3:\n"
       "  rules         Pupils (line 3)\n"
       "  blocks        flash, ad-urls, gif-animation\n"
       "  setting       DataHandlers = HTML\n"
       "  option block  00 00 00 00 00 00 02 00 leaves alone: gif-animation\n"},
      {"--client 10.2.0.1",
       "any site for 10.2.0.1:\n"
       "  rules         none\n"
       "  blocks        ad-urls, gif-animation\n"},
      {"--url https://x.plain.example/",
       "https://x.plain.example/ for any client:\n"
       "  rules         rule 2 (line 9)\n"
       "  passes        untouched: nothing is to be blocked\n"},
      {"--url http://bank.example --client 2001:db8::1",
       "http://bank.example for 2001:db8::1:\n"
       "  passes        untouched, by the allow list\n"},
      {"--url http://calm.example/",
       "http://calm.example/ for any client:\n"
       "  rules         rule 3 (line 12)\n"
       "  preset        calm\n"
       "  blocks        popups, restore-popups, requests, ad-elements\n"},
      {"--splice-list", "192.0.2.1\n.a.example\n.bank.example\n"},
  };
  for (const auto &[options, output] : cases) {
    const Result result = shell.Run("$velmora check-config velmora.toml " + options);
    EXPECT_EQ(result.exit_code, 0) << options;
    EXPECT_EQ(result.output, output);
    EXPECT_EQ(result.errors, "");
  }
}

TEST(CheckConfig, TellsWhatAStartComesTo) {
  const Shell shell;
  shell.Write("ads.txt", "||a.example^\n||b.example^\n");
  const std::string ads = "[ads]\nlists = \"ads.txt\"\nrules = [\"||c.example^\"]\n";
  shell.Write("good.toml", POLICY + ads);
  const Result good = shell.Run("$velmora check-config good.toml");
  EXPECT_EQ(good.exit_code, 0);
  for (const auto *line :
       {"no problems\n", "  limits        5000 bytes held back, 256 MiB by all, ",
        "  ad rules      3 in force\n", "ads.txt, named in \"lists\"\n",
        "1 in the policy's rules, from \"rules\"\n"}) {
    EXPECT_THAT(good.output, HasSubstr(line));
  }
  shell.Write("odd.toml", "[filter]\nblock = \"popups\"\n[event-log]\nfile = \"none/log\"\n" + ads);
  const Result odd = shell.Run("$velmora check-config odd.toml");
  EXPECT_EQ(odd.exit_code, 0);
  EXPECT_THAT(odd.errors, HasSubstr("warning: [filter] blocks \"popups\" without"));
  EXPECT_THAT(odd.errors, HasSubstr("none/log"));
  EXPECT_THAT(odd.errors, Not(HasSubstr("temporary")));
  EXPECT_THAT(shell.Run("TMPDIR=$PWD/none $velmora check-config odd.toml").errors,
              HasSubstr("/none: No such file or directory; long scripts stay in memory"));
  shell.Write("empty.txt", "! no rule\n");
  shell.Write("bad.toml", "[ads]\nlists = \"empty.txt\"\n");
  const Result bad = shell.Run("$velmora check-config bad.toml");
  EXPECT_EQ(bad.exit_code, 1);
  EXPECT_THAT(bad.errors, HasSubstr("would not start"));
  EXPECT_EQ(
      shell.Run("$velmora check-config --url 'www.evil.example/?u=http://bank.example/'").exit_code,
      2);
}

TEST(CheckConfig, NamesProblemsWithTheirPlaces) {
  const Shell shell;
  shell.Write("bad.toml", "[filter]\nblok = \"ads\"\nblock = \"add\"\n");
  const Result bad = shell.Run("$velmora check-config bad.toml");
  EXPECT_EQ(bad.exit_code, 1);
  EXPECT_EQ(bad.output, "");
  EXPECT_EQ(bad.errors,
            "bad.toml:2:1: unknown key \"blok\"; what can stand here: \"block\", \"allow\", "
            "\"settings\", \"option-block\", \"allow-self\", \"safe-search\"\n"
            "bad.toml:3:9: unknown category \"add\"; did you mean \"ads\"?\n");
  const Result missing = shell.Run("$velmora check-config none.toml");
  EXPECT_EQ(missing.exit_code, 1);
  EXPECT_EQ(missing.errors, "none.toml: cannot be read: No such file or directory\n");
  for (const std::string arguments : {"bad.toml --client host", "bad.toml --url page.html"}) {
    EXPECT_EQ(shell.Run("$velmora check-config " + arguments).exit_code, 2) << arguments;
  }
}

TEST(Categories, StandInDocumentsAndSamplesAsInTheTable) {
  const Shell shell;
  const Result result = shell.Run("$velmora categories");
  const std::string manual = shell.Run("cat $source/docs/man/velmora.toml.5").output;
  const auto plain = [](std::string text) {
    for (std::size_t at; (at = text.find('"')) != text.npos;) text.replace(at, 1, "\\(dq");
    return text;
  };
  for (const host::Category &category : host::CATEGORY_TABLE) {
    const std::string name(category.name);
    std::string presets;
    for (const host::CategoryGroup &group : host::CATEGORY_GROUPS) {
      if (!group.is_preset || !group.has(category)) continue;
      presets.append(presets.empty() ? "" : ", ").append(group.name);
    }
    const std::string meaning(host::MeaningOfCategory(category.code));
    const std::string code = std::to_string(category.code);
    EXPECT_THAT(manual,
                HasSubstr("\n.It " + name + " Ta " + code + " Ta " +
                          (presets.empty() ? "none" : presets) + " Ta " + plain(meaning) + "\n"));
    EXPECT_THAT(result.output,
                ContainsRegex("\n" + code + " +" + name + " +" + presets + " +" + meaning[0]));
  }
  for (const host::CategoryGroup &group : host::CATEGORY_GROUPS) {
    EXPECT_THAT(manual, HasSubstr("\n.It Cm " + std::string(group.name) + "\n" +
                                  std::string(group.meaning) + "\n"));
  }
  EXPECT_EQ(shell.Run("$velmora categories >/dev/full").exit_code, 1);

  // The installed policy begins with what is blocked by default.
  shell.Run("sed -e 's|@log_dir@|.|' $source/packaging/velmora.toml.in >velmora.toml");
  EXPECT_EQ(host::ReadPolicy(shell.Folder() + "/velmora.toml").everywhere.block,
            host::CategorySet::Default());
}

TEST(Allow, WritesExceptionsThatCanBeTakenBack) {
  const Shell shell;
  const std::string games = "[[category]]\nname = 'games'\nsites = 'play.example'\n";
  const std::string pupils = "[[group]]\nname = 'pupils'\nclients = '10.0.0.0/8'\n";
  const std::string filter = "[filter]\nblock = ['calm', 'games']\n[ads]\nenabled = false\n";
  shell.Write("velmora.toml", games + pupils + filter);
  const auto run = [&](const std::string &words) {
    return shell.Run("$velmora " + words + " --policy velmora.toml");
  };
  EXPECT_EQ(run("undo").errors, "velmora: nothing is allowed that could be taken back\n");
  EXPECT_EQ(run("allow a.example --client 10.0.0.0/8 --category popups").exit_code, 0);
  EXPECT_EQ(run("allow B.example --for 1h").exit_code, 0);
  const auto blocks = [&](const std::string &host, const std::string &client) {
    return shell
        .Run("$velmora check-config velmora.toml --url http://" + host + "/ --client " + client)
        .output;
  };
  EXPECT_THAT(blocks("www.a.example", "10.1.2.3"),
              HasSubstr("blocks        restore-popups, requests, ad-elements\n"));
  EXPECT_THAT(blocks("a.example", "192.0.2.1"), HasSubstr("preset        calm\n"));
  EXPECT_THAT(blocks("b.example", "192.0.2.1"), HasSubstr("passes        untouched"));
  EXPECT_THAT(shell.Run("$velmora check-config velmora.toml").output,
              HasSubstr("allowed since a.example for 10.0.0.0/8: popups\n"));
  EXPECT_THAT(run("undo").output, HasSubstr("taken back: b.example until "));
  EXPECT_EQ(run("undo").output, "taken back: a.example for 10.0.0.0/8: popups\n");
  EXPECT_THAT(blocks("a.example", "10.1.2.3"), HasSubstr("preset        calm\n"));
  for (const std::string words :
       {"allow a..b", "allow ''", "allow a.example --for never", "allow a.example --category x",
        "allow a.example --client x", "allow a.example --client ''",
        "allow a.example --group pupil", "allow a.example --group pupils --client 10.0.0.1"}) {
    EXPECT_EQ(run(words).exit_code, 2) << words;
  }

  // For a group, and a category of the policy's own: as the policy is when it is asked.
  EXPECT_EQ(run("allow play.example --category Games --group pupils").exit_code, 0);
  const std::string pupil = "10.1.2.3";
  const std::string other = "192.0.2.1";
  EXPECT_THAT(blocks("play.example", pupil), HasSubstr("preset        calm\n"));
  EXPECT_THAT(blocks("play.example", other), HasSubstr("as a site of \"games\""));
  shell.Write("velmora.toml", games + filter);
  EXPECT_THAT(blocks("play.example", pupil), HasSubstr("as a site of \"games\""));
  EXPECT_EQ(run("undo").output, "taken back: play.example for the group pupils: games\n");
  EXPECT_EQ(shell.Run("$velmora allow a.example --policy none.toml").exit_code, 1);
}

TEST(Presets, AreChosenInThePolicysPlace) {
  const Shell shell;
  shell.Write("velmora.toml", "[filter]\nblock = \"flash\"\n[ads]\nenabled = false\n");
  const struct {
    std::string words, output, everywhere;
    int exit_code;
  } cases[] = {
      {"", "as the policy says: a choice of its own\n", "flash", 0},
      {"still", "still, chosen in the policy's place\n", "gif-animation", 0},
      {"ads", "", "gif-animation", 2},
      {"", "still, chosen in the policy's place\n", "gif-animation", 0},
      {"--as-policy", "as the policy says: a choice of its own\n", "flash", 0},
  };
  for (const auto &each : cases) {
    const Result result = shell.Run("$velmora preset --policy velmora.toml " + each.words);
    EXPECT_EQ(result.exit_code, each.exit_code) << each.words;
    EXPECT_EQ(result.output, each.output);
    EXPECT_THAT(shell.Run("$velmora check-config velmora.toml --client 192.0.2.1").output,
                HasSubstr(each.everywhere));
  }
  shell.Write("velmora.preset", "ads\n");
  const Result bad = shell.Run("$velmora check-config velmora.toml");
  EXPECT_EQ(bad.exit_code, 1);
  EXPECT_THAT(bad.errors, HasSubstr("velmora.preset: \"ads\" is no preset"));
}

TEST(TestPolicy, SaysWhichExamplesComeOutOtherwise) {
  const Shell shell;
  shell.Write("ads.txt", "||ads.example^$script\n");
  const std::string policy = R"([filter]
block = "requests"
safe-search = "strict"
[ads]
lists = "ads.txt"
[[category]]
name = "games"
sites = "games.example"
[[group]]
name = "pupils"
clients = "10.1.0.0/16"
[[rule]]
name = "Lessons"
groups = "pupils"
when = "Mon-Fri 08:00-16:00"
block = "games"
[[expect]]
url = "http://www.games.example/"
client = "10.1.2.3"
at = "2026-03-02 09:00"
answer = "blocked"
by = "games"
rules = ["Lessons"]
[[expect]]
url = "https://games.example/"
groups = "pupils"
at = "Mon 09:00"
type = "tunnel"
answer = "blocked"
[[expect]]
url = "http://ads.example/a"
type = "script"
page = "http://shop.example/"
answer = "blocked"
by = "||ads.example^$script"
[[expect]]
url = "http://ads.example/a"
type = "image"
answer = "passed"
[[expect]]
url = "https://www.google.com/search?q=a"
becomes = "https://www.google.com/search?q=a&safe=active"
)";
  shell.Write("velmora.toml", policy);
  EXPECT_EQ(shell.Run("$velmora test-policy velmora.toml").output, "velmora.toml: 5 as expected\n");
  EXPECT_EQ(shell.Run("$velmora check-config velmora.toml").exit_code, 0);
  const std::string others = R"([[expect]]
url = "http://www.games.example/"
client = "10.1.2.3"
at = "Mon 16:00"
answer = "blocked"
[[expect]]
url = "http://ads.example/a"
type = "script"
answer = "untouched"
rules = ["Lessons"]
)";
  shell.Write("velmora.toml", policy + others);
  const std::string differences =
      "velmora.toml:43: http://www.games.example/ for 10.1.2.3 at Mon 16:00: expected blocked, is "
      "untouched\n"
      "velmora.toml:48: http://ads.example/a: expected untouched, is blocked by "
      "||ads.example^$script; "
      "expected the rules Lessons, is none\n";
  for (const std::string command : {"test-policy", "check-config"}) {
    const Result result = shell.Run("$velmora " + command + " velmora.toml");
    EXPECT_EQ(result.exit_code, 1) << command;
    EXPECT_EQ(result.errors, differences) << command;
  }
  EXPECT_THAT(shell
                  .Run("$velmora check-config velmora.toml --at 'Tue 08:00' --groups pupils --url "
                       "http://games.example/")
                  .output,
              HasSubstr("blocked       as a site of \"games\" (line 6)\n"));
  shell.Write("velmora.toml", "");
  EXPECT_THAT(shell.Run("$velmora test-policy velmora.toml").errors,
              HasSubstr("has no [[expect]]"));
}

TEST(Presets, CalmTakesFromPagesWhatWouldNotBeRequested) {
  const Shell shell;
  shell.Write("list.txt", "||ads.example^\n||typed.example^$script\n");
  struct {
    std::string element;
    bool stays_in_calm;
    bool stays_in_strict;
  } const cases[] = {
      {"<a href=\"http://ads.example/a\">link</a>", true, false},
      {"<form action=\"http://ads.example/a\">form</form>", true, false},
      {"<img src=\"http://ads.example/a.gif\">", false, false},
      {"<iframe src=\"//ads.example/a\"></iframe>", false, false},
      {"<script src=\"https://typed.example/a.js\"></script>", false, false},
      {"<img src=\"http://typed.example/a.gif\">", true, false},
      {"<img width=468 height=60 src=\"a.gif\">", true, false},
      {"<script>var a = \"http://ads.example/a.js\"</script>", true, false},
      {"<embed type=\"application/x-shockwave-flash\">", true, false},
      {"<p>text</p>", true, true},
  };
  for (const auto &c : cases) {
    shell.Write("page.html", "<html>" + c.element + "</html>");
    for (const bool is_calm : {true, false}) {
      const Result result = shell.Run("$velmora filter --report json --ad-lists list.txt --block " +
                                      std::string(is_calm ? "calm,none" : "strict") +
                                      " --url http://page.example/ page.html");
      const bool stays = result.output.find(c.element) != std::string::npos;
      EXPECT_EQ(stays, is_calm ? c.stays_in_calm : c.stays_in_strict) << c.element << is_calm;
      EXPECT_EQ(result.errors.find("\"ad-elements\"") != std::string::npos,
                is_calm && !c.stays_in_calm)
          << c.element << result.errors;
    }
  }
}

}  // namespace
}  // namespace velmora::command
