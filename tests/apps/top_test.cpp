// velmora top.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include <velmora/categories.h>

#include "apps/pseudo_terminal.h"
#include "apps/shell.h"
#include "host/bodies/categories.h"
#include "host/events/event.h"

namespace velmora::command {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// A blocked item's line, so many seconds after a day's begin.
std::string Blocked(int seconds, std::int32_t category, const std::string &url,
                    const std::string &client = "", const std::string &item = "IMG") {
  const std::chrono::sys_days day(std::chrono::year(2026) / 3 / 1);
  return host::ToLine({.kind = host::EventKind::BLOCKED,
                       .time = day + std::chrono::seconds(seconds),
                       .client = client,
                       .url = url,
                       .category = category,
                       .item = item});
}

std::string Log() {
  std::string log;
  for (int i = 0; i < 3; ++i) {
    log += Blocked(i, CATEGORY_AD_URLS, "http://A.example:80/" + std::to_string(i), "10.0.0.1");
  }
  log += Blocked(60, CATEGORY_FLASH, "http://b.example/", "10.0.0.2");
  log += Blocked(61, 999, "");
  log += host::ToLine({.kind = host::EventKind::BLOCKED,
                       .url = "http://ads.example/x",
                       .category = host::CATEGORY_REQUESTS,
                       .page = "http://b.example/page"});
  for (const std::int64_t saved : {70, -5}) {
    log += host::ToLine({.kind = host::EventKind::FILTERED, .items = 2, .saved = saved});
  }
  log += host::ToLine({.kind = host::EventKind::GUARDED, .category = CATEGORY_POPUPS});
  log += host::ToLine(
      {.kind = host::EventKind::STOPPED, .url = "http://c.example/", .reason = "out of memory"});
  log += host::ToLine({.kind = host::EventKind::ERROR, .reason = "policy: bad"});
  log += host::ToLine({.kind = host::EventKind::DROPPED, .count = 7});
  return log + "half a li\n{}\n" + R"({"time":"not complete)";
}

TEST(Top, SumsALogUp) {
  const Shell shell;
  shell.Write("log", Log());
  const Result result = shell.Run("TZ=UTC $velmora top --summary log");
  EXPECT_EQ(result.exit_code, 0);
  const auto row = [](const std::string &name, const std::string &count) {
    return "  " + name + std::string(58 - name.size() - count.size(), ' ') + count + "\n";
  };
  EXPECT_EQ(result.output,
            "1970-01-01 00:00:00 to 2026-03-01 00:01:01\n"
            "6 blocked, 1 stopped, 1 errors, 1 scripts put in, 1 requests never made, 65 bytes "
            "saved, 7 missing, 2 lines unreadable\n"
            "\nby category\n" +
                row("ad-urls", "3") + row("999", "1") + row("flash", "1") + row("requests", "1") +
                "\nby site\n" + row("a.example", "3") + row("b.example", "2") +
                row("(unknown)", "1") + "\nby client\n" + row("10.0.0.1", "3") +
                row("(unknown)", "2") + row("10.0.0.2", "1"));
  // Whole, in pieces, compressed, through a pipe.
  shell.Run("head -3 log >log.1; gzip <log.1 >log.2.gz; tail -n +4 log >log.3");
  for (const std::string way : {"log.1 log.3", "log.3 log.2.gz", "- <log", "- log.2.gz <log.3"}) {
    EXPECT_EQ(shell.Run("TZ=UTC $velmora top --summary " + way).output, result.output) << way;
  }
  EXPECT_EQ(shell.Run("$velmora top --json log").output,
            R"j({"from":"1970-01-01T00:00:00.000Z","to":"2026-03-01T00:01:01.000Z","blocked":6,)j"
            R"j("not made":1,"bytes saved":65,"guarded":1,"stopped":1,"errors":1,)j"
            R"j("missing":7,"unreadable":2,)j"
            R"j("categories":{"ad-urls":3,"999":1,"flash":1,"requests":1},)j"
            R"j("sites":{"a.example":3,"b.example":2,"(unknown)":1},)j"
            R"j("clients":{"10.0.0.1":3,"(unknown)":2,"10.0.0.2":1}})j"
            "\n");
  shell.Run("head -c 60 log.2.gz >cut.gz");
  const Result cut = shell.Run("$velmora top --summary cut.gz");
  EXPECT_EQ(cut.errors, "velmora: cut.gz: cut off before its end\n");
  const Result none = shell.Run("$velmora top --summary none");
  EXPECT_EQ(none.exit_code, 1);
  EXPECT_EQ(none.errors, "velmora: none: No such file or directory\n");
}

TEST(Top, CountsWhatPassesTheFilter) {
  const Shell shell;
  shell.Write("log", Log());
  const std::pair<std::string, std::string> cases[] = {
      {"--client 10.0.0.1", "3 blocked, 0 stopped"},
      {"--client 10.0.0.0/24", "4 blocked, 0 stopped"},
      {"--site a.example", "3 blocked, 0 stopped"},
      {"--site example", "5 blocked, 1 stopped"},
      {"--category ads", "4 blocked, 0 stopped"},
      {"--category flash,999", ""},
      {"--since 2026-03-01T00:00:02", "3 blocked, 0 stopped"},
      {"--since 2026-03-01 --until '2026-03-01 00:01'", "3 blocked, 0 stopped"},
      {"--since 7d --until 0s", "0 blocked, 0 stopped"},
      {"--since yesterday", ""},
      {"--client 10.0.0.1/24", ""},
  };
  for (const auto &[options, counts] : cases) {
    const Result result = shell.Run("TZ=UTC $velmora top --summary log " + options);
    EXPECT_EQ(result.exit_code, counts.empty() ? 2 : 0) << options;
    EXPECT_THAT(result.output, HasSubstr(counts)) << options;
  }
}

TEST(Top, ReadsADamagedLogToItsEnd) {
  const Shell shell;
  const std::string event = Blocked(0, CATEGORY_FLASH, "http://a.example/");
  std::string late = event;
  late.replace(late.find("2026"), 4, "9999");
  const std::pair<std::string, std::string> cases[] = {
      {event + std::string(4 << 20, '\0') + event, "2 blocked, 0 stopped, 0 errors\n"},
      {event + std::string(9 << 20, 'x') + "\n" + event,
       "2 blocked, 0 stopped, 0 errors, 1 lines unreadable\n"},
      {late + event, "1 blocked, 0 stopped, 0 errors, 1 lines unreadable\n"},
  };
  for (const auto &[log, counts] : cases) {
    shell.Write("log", log);
    EXPECT_THAT(shell.Run("$velmora top --summary log").output, HasSubstr(counts));
    EXPECT_THAT(shell.Run("$velmora top --summary - <log").output, HasSubstr(counts));
  }
}

TEST(Top, PrintsTheDisplayOnceWithoutATerminal) {
  const Shell shell;
  shell.Write("log", Log() + "\n" +
                         Blocked(70, CATEGORY_POPUPS, "http://d.example/", "", "\x1B[2J") +
                         Blocked(71, CATEGORY_POPUPS, "http://e.example/", "", "a\u202Eb"));
  const Result result = shell.Run("TZ=UTC $velmora top log");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(
      result.output,
      AllOf(HasSubstr("velmora top  log"), HasSubstr("8 blocked, 1 stopped, 1 errors"),
            HasSubstr("\n00:01:10 popups               d.example  \\x1B[2J"),
            HasSubstr("\n00:01:11 popups               e.example  a\\xE2\\x80\\xAEb"),
            HasSubstr("\n00:00:00 error                  policy: bad"),
            HasSubstr("stopped              c.example  out of memory"), Not(HasSubstr("\x1B"))));
}

TEST(Top, FollowsTheLogInATerminalAndPastItsRotation) {
  const Shell shell;
  const auto append = [&](int seconds) {
    std::ofstream(shell.Folder() + "/log", std::ios::app)
        << Blocked(seconds, CATEGORY_FLASH, "http://two.example/");
  };
  append(0);
  PseudoTerminal terminal(shell.Folder(), {COMMAND_PATH, "top", "log"});
  EXPECT_TRUE(terminal.Shows("1 blocked"));
  append(1);
  EXPECT_TRUE(terminal.Shows("2 blocked"));
  append(2);
  std::filesystem::rename(shell.Folder() + "/log", shell.Folder() + "/log.1");
  append(3);
  EXPECT_TRUE(terminal.Shows("4 blocked"));
  EXPECT_TRUE(terminal.Type("q"));
  EXPECT_EQ(terminal.ExitCode(), 0);
  EXPECT_THAT(terminal.Shown(),
              AllOf(HasSubstr("\x1B[?1049h"), HasSubstr("two.example"), HasSubstr("\x1B[?1049l")));
}

}  // namespace
}  // namespace velmora::command
