#include "diag/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <thread>
#include <unistd.h>
#include <vector>

#include "support/log_recorder.h"
#include "support/scoped_variable.h"
#include "support/temporary_directory.h"

namespace velmora {
namespace {

using namespace testing;
using ::testing::MatchesRegex;

using Files = std::map<std::string, std::string>;

/// What logs in this file send to the debugger.
std::string debugger_output;
void Debugger(std::string_view line) noexcept {
  debugger_output += line;
}

const char HEADER[] = "Log started at [0-9:]{8} on [0-9/]{8}\\.\r\n";

/// Takes the log's first line off.
std::string WithoutHeader(const std::string &text) {
  const std::size_t end = text.find('\n') + 1;
  EXPECT_THAT(text.substr(0, end), ::testing::ContainsRegex(HEADER));
  return text.substr(end);
}

TEST(DebugLog, WritesWhereItsModeSays) {
  const std::string process_log = "Velmora#" + std::to_string(::getpid()) + ".log";
  const struct {
    std::uint32_t mode;
    std::string file;  // empty: none
    bool debugger;
  } CASES[] = {
      {0, "", false}, {1, "Velmora.log", false}, {2, "", false}, {3, process_log, false},
      {4, "", true},  {5, "Velmora.log", true},  {6, "", true},  {7, process_log, true},
      {8, "", false},
  };
  for (const auto &[mode, file, debugger] : CASES) {
    SCOPED_TRACE(mode);
    const TemporaryDirectory directory;
    const ScopedVariable variable("VELMORA_DIRECTORY", directory.path().c_str());
    debugger_output.clear();
    {
      CDebugLog log(mode, "Velmora.log", &Debugger);
      EXPECT_EQ(log.mode(), mode);
      InstallLog(&log);
      Log("a line\n");
    }
    const Files files = directory.Files();
    ASSERT_EQ(files.size(), file.empty() ? 0U : 1U);
    if (!file.empty()) {
      ASSERT_TRUE(files.contains(file)) << files.begin()->first;
      EXPECT_EQ(WithoutHeader(files.at(file)), "a line\n");
    }
    if (debugger) {
      EXPECT_EQ(WithoutHeader(debugger_output), "a line\n");
    } else {
      EXPECT_EQ(debugger_output, "");
    }
  }
}

TEST(DebugLog, FallsBackToTheDebugger) {
  const TemporaryDirectory directory;
  for (const std::string &place : {directory.path() + "/missing", std::string(300, 'd')}) {
    for (const std::uint32_t mode : {1U, 3U, 5U, 7U}) {
      const ScopedVariable variable("VELMORA_DIRECTORY", place.c_str());
      debugger_output.clear();
      CDebugLog log(mode, "Velmora.log", &Debugger);
      EXPECT_EQ(log.mode(), LOG_TO_DEBUGGER);
      EXPECT_EQ(WithoutHeader(debugger_output), "");
    }
  }
  EXPECT_EQ(directory.Files(), Files());
}

TEST(DebugLog, AppendsToEarlierRuns) {
  const TemporaryDirectory directory;
  const ScopedVariable variable("VELMORA_DIRECTORY", directory.path().c_str());
  directory.Write("Velmora.log", "earlier\n");
  for (const char *line : {"one\n", "two"}) {
    CDebugLog log(LOG_TO_FILE, "Velmora.log");
    InstallLog(&log);
    Log("%s", line);
  }
  EXPECT_THAT(
      directory.Files()["Velmora.log"],
      ::testing::ContainsRegex(std::string("^earlier\n") + HEADER + "one\n" + HEADER + "two\r\n$"));
}

/// Only the name's last "." counts, and a directory's when the name has none.
TEST(DebugLog, PutsTheProcessIntoTheName) {
  const std::string id = "#" + std::to_string(::getpid()) + ".log";
  const struct {
    std::string name, file;
  } CASES[] = {
      {"Velmora.log", "in.dir/Velmora" + id},
      {"a.b.txt", "in.dir/a.b" + id},
      {"Velmora", "in" + id},
  };
  for (const auto &[name, file] : CASES) {
    const TemporaryDirectory directory;
    std::filesystem::create_directory(directory.path() + "/in.dir");
    const ScopedVariable variable("VELMORA_DIRECTORY", (directory.path() + "/in.dir").c_str());
    const CDebugLog log(LOG_TO_FILE | LOG_NAME_PROCESS, name);
    EXPECT_TRUE(directory.Files().contains(file)) << name;
  }
}

TEST(DebugLog, EndsLines) {
  const LogRecorder recorder;
  const std::string cut(1024, 'x');
  const struct {
    std::string text, line;
  } CASES[] = {
      {"a\n", "a\n"},
      {"a", "a\r\n"},
      {"", "\r\n"},
      {"a\r\n", "a\r\n"},
      {"a\nb", "a\nb\r\n"},
      {"\n", "\n"},
      {cut, cut + "\r\n"},
      {cut + "\n", cut + "\r\n"},  // the line feed is cut off first
      {cut.substr(1) + "\n", cut.substr(1) + "\n"},
  };
  for (const auto &[text, line] : CASES) {
    LogRecorder::Clear();
    Log("%s", text.c_str());
    EXPECT_EQ(LogRecorder::Text(), line);
    LogRecorder::Clear();
    LogException("%s", text.c_str());
    EXPECT_EQ(LogRecorder::Text(), "Exception: " + line);
  }
}

TEST(DebugLog, IsInstalledAndTakenAway) {
  CDebugLog off(0, "", &Debugger);
  EXPECT_EQ(InstallLog(&off), nullptr);
  EXPECT_EQ(InstallLog(nullptr), nullptr);
  {
    CDebugLog first(LOG_TO_DEBUGGER, "", &Debugger);
    CDebugLog second(LOG_TO_DEBUGGER, "", &Debugger);
    EXPECT_EQ(InstallLog(&first), nullptr);
    EXPECT_EQ(InstallLog(&second), &first);
  }
  EXPECT_EQ(InstallLog(nullptr), nullptr);
  debugger_output.clear();
  Log("nobody hears this\n");
  EXPECT_EQ(debugger_output, "");
}

TEST(DebugLog, TellsTheDebuggerOnStandardError) {
  EXPECT_EXIT(
      {
        CDebugLog log(LOG_TO_DEBUGGER, "");
        InstallLog(&log);
        Log("a line\n");
        ::_exit(0);
      },
      ::testing::ExitedWithCode(0), std::string("^") + HEADER + "a line\n$");
}

TEST(DebugLog, KeepsLinesOfThreadsApart) {
  constexpr int THREADS = 4;
  constexpr int LINES = 500;
  const TemporaryDirectory directory;
  const ScopedVariable variable("VELMORA_DIRECTORY", directory.path().c_str());
  debugger_output.clear();
  {
    CDebugLog log(LOG_TO_FILE | LOG_TO_DEBUGGER, "Velmora.log", &Debugger);
    InstallLog(&log);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
      threads.emplace_back([thread] {
        const std::string filler(static_cast<std::size_t>(100 * thread), 'x');
        for (int line = 0; line < LINES; ++line) Log("%d %d %s\n", thread, line, filler.c_str());
      });
    }
    for (std::thread &thread : threads) thread.join();
  }
  const std::string text = directory.Files()["Velmora.log"];
  EXPECT_EQ(text, debugger_output);
  std::istringstream lines(WithoutHeader(text));
  int next[THREADS] = {};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    int thread = -1;
    int number = -1;
    std::string filler;
    fields >> thread >> number >> filler;
    ASSERT_TRUE(thread >= 0 && thread < THREADS) << line;
    EXPECT_EQ(number, next[thread]++);
    EXPECT_EQ(filler, std::string(static_cast<std::size_t>(100 * thread), 'x'));
  }
  for (const int count : next) EXPECT_EQ(count, LINES);
}

}  // namespace
}  // namespace velmora
