#include "script/os_services.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "platform/random_access_file.h"
#include "platform/timed_locks.h"

namespace velmora {
namespace {

using platform::LocalDateTime;
using platform::RandomAccessFile;
using platform::TimedMutex;
using platform::TimedSemaphore;
using platform::WaitOutcome;
using Self = OsServices::Self;

constexpr char TEMPORARY_PREFIX[] = "sos";

RandomAccessFile &FileOf(void *record) noexcept {
  return *static_cast<RandomAccessFile *>(record);
}
TimedMutex &MutexOf(void *record) noexcept {
  return *static_cast<TimedMutex *>(record);
}
TimedSemaphore &SemaphoreOf(void *record) noexcept {
  return *static_cast<TimedSemaphore *>(record);
}

/// A record for an open file; null, and the file closed, when there is none or no memory.
void *FileRecord(RandomAccessFile file) noexcept {
  return file.IsOpen() ? new (std::nothrow) RandomAccessFile(std::move(file)) : nullptr;
}

void *OpenFile(Self, const char *name, std::int32_t mode) noexcept {
  using enum RandomAccessFile::Access;
  static constexpr RandomAccessFile::Access ACCESS[] = {READ, WRITE, READ_WRITE};
  if (name == nullptr || mode < FILE_READ || mode > FILE_READ_WRITE) return nullptr;
  return FileRecord(RandomAccessFile::Open(name, ACCESS[mode]));
}

void *CloseFile(Self, void *file) noexcept {
  if (file == nullptr || !FileOf(file).Close()) return file;
  delete &FileOf(file);
  return nullptr;
}

std::uint32_t FileSize(Self, void *file) noexcept {
  return file == nullptr ? SERVICE_FAILURE : FileOf(file).Size().value_or(SERVICE_FAILURE);
}

std::uint32_t SetEndOfFile(Self, void *file, std::uint32_t size) noexcept {
  return file != nullptr && FileOf(file).SetSize(size);
}

std::uint32_t SeekFile(Self, void *file, std::int32_t offset, std::int32_t origin) noexcept {
  using enum RandomAccessFile::Origin;
  static constexpr RandomAccessFile::Origin ORIGINS[] = {START, CURRENT, END};
  if (file == nullptr || origin < FROM_START || origin > FROM_END) return SERVICE_FAILURE;
  return FileOf(file).Seek(offset, ORIGINS[origin]).value_or(SERVICE_FAILURE);
}

std::uint32_t ReadFile(Self, void *file, void *buffer, std::uint32_t count) noexcept {
  return file == nullptr ? SERVICE_FAILURE
                         : FileOf(file).Read(buffer, count).value_or(SERVICE_FAILURE);
}

std::uint32_t WriteFile(Self, void *file, const void *buffer, std::uint32_t count) noexcept {
  return file != nullptr && FileOf(file).Write(buffer, count) ? count : SERVICE_FAILURE;
}

RandomAccessFile MakeTemporary(std::string &path) noexcept try {
  return RandomAccessFile::CreateTemporary(TEMPORARY_PREFIX, FILE_NAME_ROOM, path);
} catch (const std::bad_alloc &) {
  return {};
}

/// A temporary file that stays, its name in the caller's buffer.
void *CreateNamedTemporary(char *name) noexcept {
  std::string path;
  RandomAccessFile file = MakeTemporary(path);
  if (!file.IsOpen()) return nullptr;
  void *const record = FileRecord(std::move(file));
  if (record == nullptr) {
    platform::DeleteFile(path.c_str());
    return nullptr;
  }
  std::memcpy(name, path.c_str(), path.size() + 1);
  return record;
}

void *CreateFile(Self, char *name) noexcept {
  if (name == nullptr) return nullptr;
  return *name == '\0' ? CreateNamedTemporary(name) : FileRecord(RandomAccessFile::Create(name));
}

std::uint32_t DeleteFile(Self, const char *name) noexcept {
  return name != nullptr && platform::DeleteFile(name);
}

/// A record's own file loses its name at once. It is gone when it is closed, also when the process
/// ends before, and nobody else's file can have taken the name by then.
void *CreateTemporaryFile(Self, char *name) noexcept {
  if (name != nullptr) return CreateNamedTemporary(name);
  std::string path;
  RandomAccessFile file = MakeTemporary(path);
  if (!file.IsOpen() || !platform::DeleteFile(path.c_str())) return nullptr;
  return FileRecord(std::move(file));
}

DateTimeRecord ToRecord(const LocalDateTime &date) noexcept {
  return {static_cast<std::uint16_t>(date.year),     static_cast<std::uint8_t>(date.month),
          static_cast<std::uint8_t>(date.day),       static_cast<std::uint8_t>(date.hour),
          static_cast<std::uint8_t>(date.minute),    static_cast<std::uint8_t>(date.second),
          static_cast<std::uint8_t>(date.hundredths)};
}

std::uint32_t GetFileTimes(Self, void *file, DateTimeRecord *creation, DateTimeRecord *last_access,
                           DateTimeRecord *last_write) noexcept {
  if (file == nullptr) return 0;
  const auto times = FileOf(file).Times();
  if (!times) return 0;
  if (creation != nullptr) *creation = ToRecord(times->creation);
  if (last_access != nullptr) *last_access = ToRecord(times->last_access);
  if (last_write != nullptr) *last_write = ToRecord(times->last_write);
  return 1;
}

std::uint32_t SetFileTimes(Self, const char *name, const DateTimeRecord *creation,
                           const DateTimeRecord *last_access,
                           const DateTimeRecord *last_write) noexcept {
  if (name == nullptr) return 0;
  const DateTimeRecord *const records[] = {creation, last_access, last_write};
  LocalDateTime dates[3];
  const LocalDateTime *given[3] = {};
  for (int i = 0; i < 3; ++i) {
    if (records[i] == nullptr) continue;
    const DateTimeRecord &record = *records[i];
    dates[i] = {record.year,   record.month,  record.day,       record.hour,
                record.minute, record.second, record.hundredths};
    given[i] = &dates[i];
  }
  return platform::SetFileTimes(name, given[0], given[1], given[2]);
}

void *Allocate(Self, std::uint32_t size, std::int32_t fill) noexcept {
  const std::size_t room = std::max<std::size_t>(size, 1);
  if (fill == 0) return std::calloc(room, 1);
  void *const block = std::malloc(room);
  if (block != nullptr && fill > 0 && fill <= 0xFF) std::memset(block, fill, size);
  return block;
}

void *Reallocate(Self, void *block, std::uint32_t size) noexcept {
  return std::realloc(block, std::max<std::size_t>(size, 1));
}

void *Free(Self, void *block) noexcept {
  std::free(block);
  return nullptr;
}

std::uint32_t ToResult(WaitOutcome outcome) noexcept {
  switch (outcome) {
    case WaitOutcome::ACQUIRED:
      return WAIT_ACQUIRED;
    case WaitOutcome::TIMED_OUT:
      return WAIT_TIMED_OUT;
    case WaitOutcome::ABANDONED:
      return WAIT_ABANDONED;
    case WaitOutcome::FAILED:
      break;
  }
  return WAIT_FAILED;
}

platform::Milliseconds TimeOut(std::uint32_t milliseconds) noexcept {
  if (milliseconds == WAIT_FOR_EVER) return std::nullopt;
  return milliseconds;
}

void *CreateMutex(Self) noexcept {
  auto *mutex = new (std::nothrow) TimedMutex;
  if (mutex != nullptr && !mutex->IsValid()) {
    delete mutex;
    return nullptr;
  }
  return mutex;
}

void *CloseMutex(Self, void *mutex) noexcept {
  if (mutex == nullptr || !MutexOf(mutex).ReleaseAll()) return mutex;
  delete &MutexOf(mutex);
  return nullptr;
}

std::uint32_t WaitForMutex(Self, void *mutex, std::uint32_t milliseconds) noexcept {
  return mutex == nullptr ? WAIT_FAILED : ToResult(MutexOf(mutex).Wait(TimeOut(milliseconds)));
}

std::uint32_t ReleaseMutex(Self, void *mutex) noexcept {
  return mutex != nullptr && MutexOf(mutex).Release();
}

void *CreateSemaphore(Self, std::int32_t count, std::int32_t maximum) noexcept {
  if (count < 0 || maximum < 1 || count > maximum) return nullptr;
  return new (std::nothrow) TimedSemaphore(count, maximum);
}

void *CloseSemaphore(Self, void *semaphore) noexcept {
  delete static_cast<TimedSemaphore *>(semaphore);
  return nullptr;
}

std::uint32_t WaitForSemaphore(Self, void *semaphore, std::uint32_t milliseconds) noexcept {
  return semaphore == nullptr ? WAIT_FAILED
                              : ToResult(SemaphoreOf(semaphore).Wait(TimeOut(milliseconds)));
}

std::uint32_t ReleaseSemaphore(Self, void *semaphore) noexcept {
  return semaphore != nullptr && SemaphoreOf(semaphore).Release();
}

template <std::uint32_t VALUE>
std::uint32_t Constant(Self) noexcept {
  return VALUE;
}

}  // namespace

constinit const OsServices OS_SERVICES = {
    .reserved = 0,
    .OpenFile = OpenFile,
    .CloseFile = CloseFile,
    .FileSize = FileSize,
    .SetEndOfFile = SetEndOfFile,
    .SeekFile = SeekFile,
    .ReadFile = ReadFile,
    .WriteFile = WriteFile,
    .CreateFile = CreateFile,
    .DeleteFile = DeleteFile,
    .CreateTemporaryFile = CreateTemporaryFile,
    .Reserved11 = Constant<0>,
    .GetFileTimes = GetFileTimes,
    .SetFileTimes = SetFileTimes,
    .Allocate = Allocate,
    .Reallocate = Reallocate,
    .Free = Free,
    .CreateMutex = CreateMutex,
    .CloseMutex = CloseMutex,
    .WaitForMutex = WaitForMutex,
    .ReleaseMutex = ReleaseMutex,
    .CreateSemaphore = CreateSemaphore,
    .CloseSemaphore = CloseSemaphore,
    .WaitForSemaphore = WaitForSemaphore,
    .ReleaseSemaphore = ReleaseSemaphore,
    .Reserved25 = Constant<1>,
    .Reserved26 = Constant<0>,
    .Reserved27 = Constant<2>,
    .Reserved28 = Constant<0>,
};

}  // namespace velmora
