// What the platform layer makes of the real system: process, files, clock, modules.
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/modules.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/random_access_file.h"
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

TEST(ExecutablePath, OfARelativeDirectoryStaysWhereItWas) {
  const TemporaryDirectory directory;
  const std::filesystem::path before = std::filesystem::current_path();
  const std::string name = std::filesystem::read_symlink("/proc/self/exe").filename();
  std::filesystem::current_path(directory.path());
  {
    const ScopedVariable variable("VELMORA_DIRECTORY", "logs");
    EXPECT_EQ(ExecutablePath(), directory.path() + "/logs/" + name);
    // A working directory that is gone has no path.
    std::filesystem::create_directory("gone");
    std::filesystem::current_path("gone");
    std::filesystem::remove(directory.path() + "/gone");
    EXPECT_EQ(ExecutablePath(), std::nullopt);
  }
  std::filesystem::current_path(before);
}

TEST(OutputFile, AppendsToWhatIsThereOrReplacesIt) {
  const TemporaryDirectory directory;
  const std::string twice(
      "a\0\r\n\xFF"
      "a\0\r\n\xFF",
      10);
  for (const std::string name : {"old", "new"}) {
    for (const bool appends : {true, false}) {
      const std::string path = directory.path() + "/" + name + (appends ? "+" : "");
      if (name == "old") std::ofstream(path) << "before";
      OutputFile file = appends ? OutputFile::AppendTo(path) : OutputFile::Replace(path);
      ASSERT_TRUE(file.IsOpen());
      OutputFile moved(std::move(file));
      moved.Write(std::string_view(twice).substr(0, 5));
      file = std::move(moved);
      file.Write(std::string_view());
      file.Write(std::string_view(twice).substr(5));
      const std::string kept = name == "old" && appends ? "before" : "";
      EXPECT_EQ(ReadFile(path), kept + twice) << "at once, and " << path;
    }
  }
  const mode_t mask = ::umask(0);
  ::umask(mask);
  struct stat status {};
  ASSERT_EQ(::stat((directory.path() + "/new+").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U & ~mask);
}

TEST(OutputFile, ThatCannotBeOpenedIsNotOpen) {
  const TemporaryDirectory directory;
  const std::string pipe = directory.path() + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);  // that nobody reads
  for (const std::string &path :
       {std::string(), directory.path(), directory.path() + "/no/file", pipe}) {
    EXPECT_FALSE(OutputFile::AppendTo(path).IsOpen()) << path;
    EXPECT_FALSE(OutputFile::Replace(path).IsOpen()) << path;
    EXPECT_EQ(ReadFile(path), "") << path;
  }
}

/// What a signal would say, each time: a program that does not expect it dies of it. 0 when all is
/// well.
int WriteWhereSignalsAreRaised(const std::string &folder) {
  const std::string pipe = folder + "/pipe";
  if (::mkfifo(pipe.c_str(), 0600) != 0) return 1;
  const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
  OutputFile file = OutputFile::AppendTo(pipe);
  // A pipe that is full is not waited for either.
  for (int i = 0; i < 100; ++i) file.Write(std::string(4096, 'x'));
  ::close(reader);
  file.Write("nobody reads this\n");

  const rlimit limit{10, 10};
  ::setrlimit(RLIMIT_FSIZE, &limit);
  OutputFile small = OutputFile::Replace(folder + "/small");
  for (int i = 0; i < 5; ++i) small.Write("1234567");
  RandomAccessFile data = RandomAccessFile::Create((folder + "/data").c_str());
  if (data.Write("123456789012", 12) || data.SetSize(11)) return 2;

  // One that others raised, and keep from this thread, is still there.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  ::raise(SIGPIPE);
  file.Write("nor this\n");
  sigpending(&signals);
  return sigismember(&signals, SIGPIPE) == 1 ? 0 : 3;
}

TEST(OutputFile, TroubleIsNoSignal) {
  const TemporaryDirectory directory;
  EXPECT_EXIT(::_exit(WriteWhereSignalsAreRaised(directory.path())), ::testing::ExitedWithCode(0),
              "");
  EXPECT_EQ(directory.Files()["small"], "1234567123");
  EXPECT_EQ(directory.Files()["data"], "1234567890");
}

TEST(Clock, WritesDateAndTimeInFixedForms) {
  EXPECT_THAT(LocalDate(), MatchesRegex("[01][0-9]/[0-3][0-9]/[0-9][0-9]"));
  EXPECT_THAT(LocalTime(), MatchesRegex("[0-2][0-9]:[0-5][0-9]:[0-6][0-9]"));
}

TEST(DebuggerOutput, IsStandardErrorAndMayBeClosed) {
  const auto write = [](bool is_closed) {
    int ends[2];
    if (is_closed && ::pipe(ends) == 0) {
      ::dup2(ends[1], STDERR_FILENO);
      ::close(ends[0]);
      ::close(ends[1]);
    }
    WriteDebuggerOutput("a line\r\n");
    ::_exit(0);
  };
  EXPECT_EXIT(write(false), ::testing::ExitedWithCode(0), "^a line\r\n$");
  EXPECT_EXIT(write(true), ::testing::ExitedWithCode(0), "^$");
}

TEST(Modules, AreLoadedFoundAndAsked) {
  using namespace base;
  // The C library is in every process.
  const ModuleHandle loaded = LoadModule("libc.so.6");
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(FindLoadedModule("libc.so.6"), loaded);
  EXPECT_NE(FindSymbol(loaded, "getpid"), nullptr);
  EXPECT_EQ(FindSymbol(loaded, "no_such_function"), nullptr);
  EXPECT_EQ(LoadModule("/no/such/library.so"), nullptr);
  EXPECT_EQ(FindLoadedModule("libvexlar.so"), nullptr);
}

}  // namespace
}  // namespace velmora::platform
