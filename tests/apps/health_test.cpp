// velmora health.
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include <velmora/categories.h>

#include "apps/shell.h"
#include "host/events/event.h"

namespace velmora::command {
namespace {

using host::EventKind;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string Ago(int minutes, host::Event event) {
  event.time = std::chrono::system_clock::now() - std::chrono::minutes(minutes);
  return host::ToLine(event);
}

TEST(Health, SaysWhatAMonitorAsks) {
  const Shell shell;
  const std::string blocked = Ago(1, {.kind = EventKind::BLOCKED, .category = CATEGORY_FLASH});
  const std::string old_error = Ago(40, {.kind = EventKind::ERROR, .reason = "long ago"});
  const std::string error = Ago(2, {.kind = EventKind::ERROR, .reason = "no | memory"});
  const std::string good = "[event-log]\nfile = \"log\"\n";
  const std::string fetches = good + "[ads]\nurls = [\"http://lists.example/a.txt\"]\n";
  // Only the end of a long log is read, from a whole line on.
  std::string filler;
  while (filler.size() < (17U << 20)) filler += old_error;
  const struct {
    std::string policy, log, arguments;
    int exit_code;
    const char *begin, *measures;
  } cases[] = {
      {good, blocked + old_error, "", 0, "VELMORA OK: 1 blocked in 15min|",
       "blocked=1 stopped=0 errors=0 missing=0"},
      {good, old_error, "--within 1h", 1, "VELMORA WARNING: 1 error in 1h, the last: long ago;",
       "errors=1"},
      {good, error + blocked, "", 1,
       "VELMORA WARNING: 1 error in 15min, the last: no   memory; 1 blocked", "|blocked=1"},
      {good, Ago(1, {.kind = EventKind::DROPPED, .count = 7}), "", 1,
       "VELMORA WARNING: 7 events lost", "missing=7"},
      {good, filler + blocked, "--within 1d", 1, "VELMORA WARNING: ", "blocked=1"},
      {fetches, blocked, "", 1, "VELMORA WARNING: never fetched: http://lists.example/a.txt;",
       "list_age=0s"},
      {"[filter]\nblock = \"popup\"\n", "", "", 2,
       "VELMORA CRITICAL: the policy: velmora.toml:2:", ""},
      {"[event-log]\nfile = \"loop\"\n", "", "", 3, "VELMORA UNKNOWN: ", ""},
      {good, error, "--proxy 127.0.0.1:1", 2, "VELMORA CRITICAL: 127.0.0.1:1 does not answer",
       "errors=1"},
  };
  shell.Run("ln -s loop loop");
  for (const auto &row : cases) {
    shell.Write("velmora.toml", row.policy);
    shell.Write("log", row.log);
    const Result result = shell.Run("$velmora health --policy velmora.toml " + row.arguments);
    EXPECT_EQ(row.exit_code, result.exit_code) << row.begin;
    EXPECT_THAT(result.output, StartsWith(row.begin));
    EXPECT_THAT(result.output, HasSubstr(row.measures));
  }
  EXPECT_EQ(2, shell.Run("$velmora health --policy none.toml").exit_code);
  EXPECT_EQ(2, shell.Run("$velmora health --within soon").exit_code);
}

}  // namespace
}  // namespace velmora::command
