// OsServices: the table through which scripts' token lists and lexers reach files, memory and
// synchronization objects.
//
// The layout is a contract with engines that take such a table from their host: a reserved word,
// then 28 functions in this order, each of which takes the table's address first.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velmora {

/// Date and time of day in local time, in 8 bytes.
struct DateTimeRecord {
  std::uint16_t year;
  std::uint8_t month;  // 1 to 12
  std::uint8_t day;
  std::uint8_t hour;
  std::uint8_t minute;
  std::uint8_t second;
  std::uint8_t hundredths;
};
static_assert(sizeof(DateTimeRecord) == 8);

/// What positions, counts and sizes of files answer on failure.
inline constexpr std::uint32_t SERVICE_FAILURE = 0xFFFFFFFF;
/// Room that a name buffer must have, the NUL included.
inline constexpr std::size_t FILE_NAME_ROOM = 260;

enum FileOrigin : std::int32_t { FROM_START = 0, FROM_CURRENT = 1, FROM_END = 2 };
enum FileMode : std::int32_t { FILE_READ = 0, FILE_WRITE = 1, FILE_READ_WRITE = 2 };
/// A fill outside 0 to 255: the allocated memory is left as it is.
inline constexpr std::int32_t FILL_NONE = -1;

enum WaitResult : std::uint32_t {
  WAIT_ACQUIRED = 0,
  WAIT_FAILED = 1,
  WAIT_TIMED_OUT = 2,
  /// Acquired, but the thread that held it went without releasing it.
  WAIT_ABANDONED = 3,
};
/// A time-out that never comes.
inline constexpr std::uint32_t WAIT_FOR_EVER = 0xFFFFFFFF;

/// Nothing is thrown or logged: failures are told by the results. Handles are records that the
/// table allocates and that the matching close frees; one record is used by one thread at a time,
/// mutexes and semaphores by any number.
struct OsServices {
  using Self = const OsServices *;

  std::uint32_t reserved;

  /// Opens an existing file in a `FileMode`; null on failure.
  void *(*OpenFile)(Self, const char *name, std::int32_t mode) noexcept;
  /// Null on success, else the record. A temporary file made without a name buffer is gone then.
  void *(*CloseFile)(Self, void *file) noexcept;
  /// The size's low 32 bits.
  std::uint32_t (*FileSize)(Self, void *file) noexcept;
  /// Cuts or extends the file; nonzero on success. The position stays.
  std::uint32_t (*SetEndOfFile)(Self, void *file, std::uint32_t size) noexcept;
  /// The new position's low 32 bits.
  std::uint32_t (*SeekFile)(Self, void *file, std::int32_t offset, std::int32_t origin) noexcept;
  /// The number of bytes read, less than `count` only at the file's end.
  std::uint32_t (*ReadFile)(Self, void *file, void *buffer, std::uint32_t count) noexcept;
  /// `count`, or failure when not all of it could be written.
  std::uint32_t (*WriteFile)(Self, void *file, const void *buffer, std::uint32_t count) noexcept;
  /// Creates a file anew for reading and writing. An empty name is replaced by that of a new
  /// temporary file, in the buffer of `FILE_NAME_ROOM` bytes.
  void *(*CreateFile)(Self, char *name) noexcept;
  /// Nonzero on success.
  std::uint32_t (*DeleteFile)(Self, const char *name) noexcept;
  /// Makes a new temporary file. With a buffer, its name is written there and the file stays when
  /// closed; with null, the file is the record's own and goes with it.
  void *(*CreateTemporaryFile)(Self, char *name) noexcept;
  /// Always 0.
  std::uint32_t (*Reserved11)(Self) noexcept;
  /// Nonzero on success; each record may be null.
  std::uint32_t (*GetFileTimes)(Self, void *file, DateTimeRecord *creation,
                                DateTimeRecord *last_access, DateTimeRecord *last_write) noexcept;
  std::uint32_t (*SetFileTimes)(Self, const char *name, const DateTimeRecord *creation,
                                const DateTimeRecord *last_access,
                                const DateTimeRecord *last_write) noexcept;
  /// Memory of which every byte is `fill`, or as it comes when that is no byte; null on failure.
  void *(*Allocate)(Self, std::uint32_t size, std::int32_t fill) noexcept;
  /// The block with its content at its new place; null on failure, the old one then stays.
  void *(*Reallocate)(Self, void *block, std::uint32_t size) noexcept;
  /// Null on success, else the pointer.
  void *(*Free)(Self, void *block) noexcept;

  /// A mutex that nobody holds. Its holder may acquire it again.
  void *(*CreateMutex)(Self) noexcept;
  /// Null on success, else the record: a mutex that another thread holds is not closed.
  void *(*CloseMutex)(Self, void *mutex) noexcept;
  std::uint32_t (*WaitForMutex)(Self, void *mutex, std::uint32_t milliseconds) noexcept;
  /// Nonzero on success; 0 for a thread that does not hold it.
  std::uint32_t (*ReleaseMutex)(Self, void *mutex) noexcept;

  void *(*CreateSemaphore)(Self, std::int32_t count, std::int32_t maximum) noexcept;
  void *(*CloseSemaphore)(Self, void *semaphore) noexcept;
  std::uint32_t (*WaitForSemaphore)(Self, void *semaphore, std::uint32_t milliseconds) noexcept;
  /// Gives one count back; 0 when that would exceed the maximum.
  std::uint32_t (*ReleaseSemaphore)(Self, void *semaphore) noexcept;

  /// Always 1, 0, 2 and 0.
  std::uint32_t (*Reserved25)(Self) noexcept;
  std::uint32_t (*Reserved26)(Self) noexcept;
  std::uint32_t (*Reserved27)(Self) noexcept;
  std::uint32_t (*Reserved28)(Self) noexcept;
};

/// The services of the operating system; constant, shared by all threads.
extern const OsServices OS_SERVICES;

}  // namespace velmora
