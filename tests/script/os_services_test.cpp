// The slots of the services table.
#include "script/os_services.h"

#include <chrono>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

#include "support/scoped_variable.h"
#include "support/temporary_directory.h"

namespace velmora::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

constexpr const OsServices *OS = &OS_SERVICES;

std::size_t OpenDescriptors() {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

/// A directory that takes the place of the one for temporary files; at the end nothing is open.
class OsServicesTest : public ::testing::Test {
 protected:
  std::size_t Entries() const { return directory_.Files().size(); }
  std::string Path(const std::string &name) const { return directory_.path() + "/" + name; }
  void TearDown() override { EXPECT_EQ(OpenDescriptors(), descriptors_); }

  TemporaryDirectory directory_;
  ScopedVariable variable_{"TMPDIR", directory_.path().c_str()};
  std::size_t descriptors_ = OpenDescriptors();
};

TEST_F(OsServicesTest, HasItsLayout) {
  static_assert(sizeof(OsServices) == 29 * 8);
  static_assert(offsetof(OsServices, OpenFile) == 1 * 8);
  static_assert(offsetof(OsServices, CreateTemporaryFile) == 10 * 8);
  static_assert(offsetof(OsServices, Allocate) == 14 * 8);
  static_assert(offsetof(OsServices, ReleaseSemaphore) == 24 * 8);
  EXPECT_EQ(OS->reserved, 0U);
  const std::uint32_t reserved[] = {OS->Reserved11(OS), OS->Reserved25(OS), OS->Reserved26(OS),
                                    OS->Reserved27(OS), OS->Reserved28(OS)};
  EXPECT_THAT(reserved, ElementsAre(0, 1, 0, 2, 0));
}

TEST_F(OsServicesTest, Files) {
  directory_.Write("file", "0123456789");
  const std::string path = Path("file");
  EXPECT_EQ(OS->OpenFile(OS, path.c_str(), 3), nullptr);
  EXPECT_EQ(OS->OpenFile(OS, path.c_str(), -1), nullptr);
  EXPECT_EQ(OS->OpenFile(OS, Path("none").c_str(), FILE_READ_WRITE), nullptr);
  EXPECT_EQ(OS->OpenFile(OS, directory_.path().c_str(), FILE_READ), nullptr);

  void *file = OS->OpenFile(OS, path.c_str(), FILE_READ_WRITE);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(OS->FileSize(OS, file), 10U);
  char buffer[16] = {};
  EXPECT_EQ(OS->ReadFile(OS, file, buffer, 4), 4U);
  EXPECT_EQ(OS->SeekFile(OS, file, -1, FROM_CURRENT), 3U);
  EXPECT_EQ(OS->SeekFile(OS, file, 0, 3), SERVICE_FAILURE);
  EXPECT_EQ(OS->SeekFile(OS, file, -1, FROM_START), SERVICE_FAILURE);
  EXPECT_EQ(OS->SetEndOfFile(OS, file, 6), 1U);
  EXPECT_EQ(OS->SeekFile(OS, file, 0, FROM_CURRENT), 3U);
  EXPECT_EQ(OS->ReadFile(OS, file, buffer, 16), 3U);
  EXPECT_STREQ(buffer, "3453");
  EXPECT_EQ(OS->ReadFile(OS, file, buffer, 16), 0U);
  EXPECT_EQ(OS->WriteFile(OS, file, "ab", 2), 2U);
  EXPECT_EQ(OS->SeekFile(OS, file, -2, FROM_END), 6U);
  EXPECT_EQ(OS->CloseFile(OS, file), nullptr);
  EXPECT_EQ(directory_.Files()["file"], "012345ab");

  file = OS->OpenFile(OS, path.c_str(), FILE_READ);
  EXPECT_EQ(OS->WriteFile(OS, file, "ab", 2), SERVICE_FAILURE);
  EXPECT_EQ(OS->SetEndOfFile(OS, file, 0), 0U);
  EXPECT_EQ(OS->CloseFile(OS, file), nullptr);
  file = OS->OpenFile(OS, path.c_str(), FILE_WRITE);
  EXPECT_EQ(OS->ReadFile(OS, file, buffer, 2), SERVICE_FAILURE);
  EXPECT_EQ(OS->CloseFile(OS, file), nullptr);
  file = OS->OpenFile(OS, "/dev/full", FILE_WRITE);
  EXPECT_EQ(OS->WriteFile(OS, file, "ab", 2), SERVICE_FAILURE);
  EXPECT_EQ(OS->CloseFile(OS, file), nullptr);

  EXPECT_EQ(OS->DeleteFile(OS, path.c_str()), 1U);
  EXPECT_EQ(OS->DeleteFile(OS, path.c_str()), 0U);
}

TEST_F(OsServicesTest, CreatedFiles) {
  std::string name = Path("made");
  name.resize(FILE_NAME_ROOM);
  directory_.Write("made", "old");
  void *file = OS->CreateFile(OS, name.data());
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(OS->FileSize(OS, file), 0U);
  EXPECT_EQ(OS->CloseFile(OS, file), nullptr);
  EXPECT_EQ(OS->DeleteFile(OS, name.c_str()), 1U);

  // Both ways to a temporary file with a name: it stays when it is closed.
  for (const auto create : {OS->CreateFile, OS->CreateTemporaryFile}) {
    char buffer[FILE_NAME_ROOM] = "";
    file = create(OS, buffer);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(std::string_view(buffer).starts_with(Path("sos"))) << buffer;
    struct stat status;
    ASSERT_EQ(stat(buffer, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    EXPECT_EQ(OS->WriteFile(OS, file, "x", 1), 1U);
    EXPECT_EQ(OS->CloseFile(OS, file), nullptr);
    EXPECT_EQ(directory_.Files().begin()->second, "x");
    EXPECT_EQ(OS->DeleteFile(OS, buffer), 1U);
  }

  // Without a name it does not even appear.
  file = OS->CreateTemporaryFile(OS, nullptr);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Entries(), 0U);
  EXPECT_EQ(OS->WriteFile(OS, file, "abc", 3), 3U);
  EXPECT_EQ(OS->FileSize(OS, file), 3U);
  EXPECT_EQ(OS->CloseFile(OS, file), nullptr);
  EXPECT_EQ(Entries(), 0U);
}

TEST_F(OsServicesTest, TemporaryFilesNeedADirectory) {
  for (const std::string &directory : {Path("none"), directory_.path() + std::string(300, '/')}) {
    const ScopedVariable variable("TMPDIR", directory.c_str());
    char name[FILE_NAME_ROOM] = "";
    EXPECT_EQ(OS->CreateTemporaryFile(OS, nullptr), nullptr);
    EXPECT_EQ(OS->CreateTemporaryFile(OS, name), nullptr);
    EXPECT_EQ(OS->CreateFile(OS, name), nullptr);
    EXPECT_STREQ(name, "");
  }
}

TEST_F(OsServicesTest, FileTimes) {
  for (const char *zone : {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3"}) {
    const ScopedVariable variable("TZ", zone);
    tzset();
    directory_.Write("file", "");
    const std::string path = Path("file");
    const DateTimeRecord access{2004, 2, 29, 0, 0, 0, 0};
    const DateTimeRecord write{2005, 7, 14, 13, 45, 7, 25};
    EXPECT_EQ(OS->SetFileTimes(OS, path.c_str(), &access, &access, &write), 1U);
    // Null leaves a time as it is; an impossible date leaves all of them.
    EXPECT_EQ(OS->SetFileTimes(OS, path.c_str(), nullptr, nullptr, nullptr), 1U);
    const DateTimeRecord impossible[] = {{2005, 2, 29, 0, 0, 0, 0},  {2005, 0, 1, 0, 0, 0, 0},
                                         {2005, 13, 1, 0, 0, 0, 0},  {2005, 1, 0, 0, 0, 0, 0},
                                         {2005, 4, 31, 0, 0, 0, 0},  {2005, 1, 1, 24, 0, 0, 0},
                                         {2005, 1, 1, 0, 60, 0, 0},  {2005, 1, 1, 0, 0, 60, 0},
                                         {2005, 1, 1, 0, 0, 0, 100}, {0, 1, 1, 0, 0, 0, 0}};
    for (const DateTimeRecord &date : impossible) {
      EXPECT_EQ(OS->SetFileTimes(OS, path.c_str(), nullptr, &access, &date), 0U);
      EXPECT_EQ(OS->SetFileTimes(OS, path.c_str(), nullptr, &date, &access), 0U);
      EXPECT_EQ(OS->SetFileTimes(OS, path.c_str(), &date, &access, &access), 0U);
    }
    void *file = OS->OpenFile(OS, path.c_str(), FILE_READ);
    DateTimeRecord read[3];
    EXPECT_EQ(OS->GetFileTimes(OS, file, &read[0], &read[1], &read[2]), 1U);
    EXPECT_EQ(OS->GetFileTimes(OS, file, nullptr, nullptr, nullptr), 1U);
    EXPECT_EQ(std::memcmp(&read[1], &access, sizeof access), 0) << zone;
    EXPECT_EQ(std::memcmp(&read[2], &write, sizeof write), 0) << zone;
    EXPECT_GE(read[0].year, 2024);
    EXPECT_EQ(OS->CloseFile(OS, file), nullptr);
  }
  tzset();
  EXPECT_EQ(OS->SetFileTimes(OS, Path("none").c_str(), nullptr, nullptr, nullptr), 0U);
}

TEST_F(OsServicesTest, Memory) {
  auto *block = static_cast<unsigned char *>(OS->Allocate(OS, 7, 0x41));
  block = static_cast<unsigned char *>(OS->Reallocate(OS, block, 70000));
  for (int i = 0; i < 7; ++i) EXPECT_EQ(block[i], 0x41);
  EXPECT_EQ(OS->Free(OS, block), nullptr);
  block = static_cast<unsigned char *>(OS->Allocate(OS, 100, 0));
  for (int i = 0; i < 100; ++i) EXPECT_EQ(block[i], 0);
  EXPECT_EQ(OS->Free(OS, block), nullptr);
  for (const std::int32_t fill : {0, 1, 255, 256, FILL_NONE}) {
    void *empty = OS->Allocate(OS, 0, fill);
    EXPECT_NE(empty, nullptr);
    EXPECT_EQ(OS->Free(OS, OS->Reallocate(OS, empty, 0)), nullptr);
  }
  EXPECT_EQ(OS->Free(OS, nullptr), nullptr);
}

void InAnotherThread(const std::function<void()> &work) {
  std::thread(work).join();
}

TEST_F(OsServicesTest, Mutexes) {
  void *mutex = OS->CreateMutex(OS);
  ASSERT_NE(mutex, nullptr);
  EXPECT_EQ(OS->ReleaseMutex(OS, mutex), 0U);
  EXPECT_EQ(OS->WaitForMutex(OS, mutex, 0), WAIT_ACQUIRED);
  EXPECT_EQ(OS->WaitForMutex(OS, mutex, WAIT_FOR_EVER), WAIT_ACQUIRED);
  InAnotherThread([=] {
    EXPECT_EQ(OS->WaitForMutex(OS, mutex, 0), WAIT_TIMED_OUT);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(OS->WaitForMutex(OS, mutex, 20), WAIT_TIMED_OUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
    EXPECT_EQ(OS->ReleaseMutex(OS, mutex), 0U);
    EXPECT_EQ(OS->CloseMutex(OS, mutex), mutex);
  });
  EXPECT_EQ(OS->ReleaseMutex(OS, mutex), 1U);
  EXPECT_EQ(OS->ReleaseMutex(OS, mutex), 1U);
  EXPECT_EQ(OS->ReleaseMutex(OS, mutex), 0U);
  InAnotherThread([=] { EXPECT_EQ(OS->WaitForMutex(OS, mutex, WAIT_FOR_EVER), WAIT_ACQUIRED); });
  // Its holder is gone, and it goes on as any other.
  EXPECT_EQ(OS->WaitForMutex(OS, mutex, 0), WAIT_ABANDONED);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(OS->WaitForMutex(OS, mutex, 0), WAIT_ACQUIRED);
    EXPECT_EQ(OS->ReleaseMutex(OS, mutex), 1U);
    if (round == 0) {
      EXPECT_EQ(OS->ReleaseMutex(OS, mutex), 1U);
    }
  }
  EXPECT_EQ(OS->CloseMutex(OS, mutex), nullptr);
  EXPECT_EQ(OS->WaitForMutex(OS, nullptr, 0), WAIT_FAILED);
}

TEST_F(OsServicesTest, Semaphores) {
  EXPECT_EQ(OS->CreateSemaphore(OS, -1, 1), nullptr);
  EXPECT_EQ(OS->CreateSemaphore(OS, 0, 0), nullptr);
  EXPECT_EQ(OS->CreateSemaphore(OS, 3, 2), nullptr);
  void *semaphore = OS->CreateSemaphore(OS, 1, 2);
  ASSERT_NE(semaphore, nullptr);
  EXPECT_EQ(OS->WaitForSemaphore(OS, semaphore, WAIT_FOR_EVER), WAIT_ACQUIRED);
  EXPECT_EQ(OS->WaitForSemaphore(OS, semaphore, 0), WAIT_TIMED_OUT);
  EXPECT_EQ(OS->WaitForSemaphore(OS, semaphore, 5), WAIT_TIMED_OUT);
  EXPECT_EQ(OS->ReleaseSemaphore(OS, semaphore), 1U);
  EXPECT_EQ(OS->ReleaseSemaphore(OS, semaphore), 1U);
  EXPECT_EQ(OS->ReleaseSemaphore(OS, semaphore), 0U);
  EXPECT_EQ(OS->WaitForSemaphore(OS, semaphore, 0), WAIT_ACQUIRED);
  EXPECT_EQ(OS->WaitForSemaphore(OS, semaphore, 0), WAIT_ACQUIRED);
  std::thread waiter([=] { EXPECT_EQ(OS->WaitForSemaphore(OS, semaphore, 10000), WAIT_ACQUIRED); });
  EXPECT_EQ(OS->ReleaseSemaphore(OS, semaphore), 1U);
  waiter.join();
  EXPECT_EQ(OS->CloseSemaphore(OS, semaphore), nullptr);
}

}  // namespace
}  // namespace velmora::testing
