// What the platform layer makes of the real system: process, files, clock, modules.
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/debugger_output.h"
#include "platform/files.h"
#include "platform/modules.h"
#include "platform/process.h"
#include "support/scoped_variable.h"
#include "support/temporary_directory.h"

namespace velmora::platform {
namespace {

using namespace velmora::testing;
using ::testing::MatchesRegex;

TEST(ExecutablePath, IsTheRealPathUnlessADirectoryIsNamed) {
  const std::string real = std::filesystem::read_symlink("/proc/self/exe");
  const std::string name = real.substr(real.rfind('/'));
  // As long as a path may be, and one byte longer.
  const std::string longest = "/" + std::string(259 - name.size() - 1, 'd');
  const std::string too_long = longest + "d";
  const struct {
    const char *directory;
    std::optional<std::string> path;
  } CASES[] = {
      {nullptr, real},
      {"", real},
      {"/var/log", "/var/log" + name},
      {longest.c_str(), longest + name},
      {too_long.c_str(), std::nullopt},
  };
  for (const auto &[directory, path] : CASES) {
    const ScopedVariable variable("VELMORA_DIRECTORY", directory);
    EXPECT_EQ(ExecutablePath(), path);
  }
}

TEST(AppendFile, AppendsToWhatIsThere) {
  const TemporaryDirectory directory;
  directory.Write("old", "before\n");
  for (const char *name : {"old", "new"}) {
    AppendFile file(directory.path() + "/" + name);
    ASSERT_TRUE(file.IsOpen());
    AppendFile moved(std::move(file));
    moved.Write("one\n");
    file = std::move(moved);
    file.Write("two\n");
  }
  EXPECT_EQ(directory.Files()["old"], "before\none\ntwo\n");
  EXPECT_EQ(directory.Files()["new"], "one\ntwo\n");

  const mode_t mask = ::umask(0);
  ::umask(mask);
  struct stat status {};
  ASSERT_EQ(::stat((directory.path() + "/new").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U & ~mask);
}

TEST(OutputFile, ReplacesWhatIsThere) {
  const TemporaryDirectory directory;
  directory.Write("old", "before");
  const std::uint8_t bytes[] = {'a', '\0', '\r', '\n', 0xFF};
  for (const char *name : {"old", "new"}) {
    OutputFile file(directory.path() + "/" + name);
    ASSERT_TRUE(file.IsOpen());
    file.Write(bytes);
    file.Write({});
    file.Write(bytes);
  }
  const std::string twice(
      "a\0\r\n\xFF"
      "a\0\r\n\xFF",
      10);
  EXPECT_EQ(directory.Files()["old"], twice);
  EXPECT_EQ(directory.Files()["new"], twice);
  EXPECT_EQ(ReadFile(directory.path() + "/new"), twice);
}

TEST(Files, ThatCannotBeOpenedAreNotOpen) {
  const TemporaryDirectory directory;
  for (const std::string &path : {std::string(), directory.path(), directory.path() + "/no/file"}) {
    EXPECT_FALSE(AppendFile(path).IsOpen()) << path;
    EXPECT_FALSE(OutputFile(path).IsOpen()) << path;
    EXPECT_EQ(ReadFile(path), "") << path;
  }
}

TEST(Clock, WritesDateAndTimeInFixedForms) {
  EXPECT_THAT(LocalDate(), MatchesRegex("[01][0-9]/[0-3][0-9]/[0-9][0-9]"));
  EXPECT_THAT(LocalTime(), MatchesRegex("[0-2][0-9]:[0-5][0-9]:[0-6][0-9]"));
}

TEST(DebuggerOutput, IsStandardError) {
  EXPECT_EXIT(
      {
        WriteDebuggerOutput("a line\r\n");
        ::_exit(0);
      },
      ::testing::ExitedWithCode(0), "^a line\r\n$");
}

TEST(Modules, AreLoadedFoundAndAsked) {
  // The C library is in every process.
  const ModuleHandle loaded = LoadModule("libc.so.6");
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(FindLoadedModule("libc.so.6"), loaded);
  EXPECT_NE(FindSymbol(loaded, "getpid"), nullptr);
  EXPECT_EQ(FindSymbol(loaded, "no_such_function"), nullptr);
  CloseModuleHandle(loaded);
  EXPECT_NE(FindSymbol(loaded, "getpid"), nullptr);

  EXPECT_EQ(LoadModule("/no/such/library.so"), nullptr);
  EXPECT_EQ(FindLoadedModule("libvexlar.so"), nullptr);
}

}  // namespace
}  // namespace velmora::platform
