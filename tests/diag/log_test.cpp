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
using ::testing::UnorderedElementsAre;

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
    Files files = directory.Files();
    ASSERT_EQ(files.size(), file.empty() ? 0U : 1U);
    if (!file.empty()) {
      EXPECT_EQ(WithoutHeader(files[file]), "a line\n");
    }
    EXPECT_EQ(debugger ? WithoutHeader(debugger_output) : debugger_output,
              debugger ? "a line\n" : "");
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
  const TemporaryDirectory directory;
  const std::string folder = directory.path() + "/in.dir";
  std::filesystem::create_directory(folder);
  const ScopedVariable variable("VELMORA_DIRECTORY", folder.c_str());
  for (const auto *const name : {"Velmora.log", "a.b.txt", "Velmora"}) {
    CDebugLog(LOG_TO_FILE | LOG_NAME_PROCESS, name);
  }
  std::vector<std::string> files;
  for (const auto &[file, text] : directory.Files()) files.push_back(file);
  EXPECT_THAT(files, UnorderedElementsAre("in.dir/Velmora" + id, "in.dir/a.b" + id, "in" + id));
}

TEST(DebugLog, EndsLines) {
  const LogRecorder recorder;
  const std::string cut(1024, 'x');
  const std::pair<std::string, std::string> CASES[] = {
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

TEST(DebugLog, KeepsLinesOfThreadsApart) {
  constexpr std::size_t LINES = 500;
  const TemporaryDirectory directory;
  const ScopedVariable variable("VELMORA_DIRECTORY", directory.path().c_str());
  debugger_output.clear();
  std::map<std::string, std::size_t> expected;
  {
    CDebugLog log(LOG_TO_FILE | LOG_TO_DEBUGGER, "Velmora.log", &Debugger);
    InstallLog(&log);
    std::vector<std::jthread> threads;
    for (const char filler : {'a', 'b', 'c', 'd'}) {
      const std::string line(static_cast<std::size_t>(100 * (filler - 'a') + 1), filler);
      expected[line] = LINES;
      threads.emplace_back([line] {
        for (std::size_t i = 0; i < LINES; ++i) Log("%s\n", line.c_str());
      });
    }
  }
  const std::string text = directory.Files()["Velmora.log"];
  EXPECT_EQ(text, debugger_output);
  std::istringstream lines(WithoutHeader(text));
  std::map<std::string, std::size_t> written;
  for (std::string line; std::getline(lines, line);) ++written[line];
  EXPECT_EQ(written, expected);
}

}  // namespace
}  // namespace velmora
