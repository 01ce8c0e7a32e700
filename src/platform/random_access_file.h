// Files that are read, written and positioned; temporary files; file times.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/descriptor.h"

namespace velmora::platform {

/// Local time of day and date, to the hundredth of a second, which is cut, not rounded.
struct LocalDateTime {
  int year;
  int month;  // 1 to 12
  int day;
  int hour;
  int minute;
  int second;
  int hundredths;
};

struct FileTimes {
  /// The file's birth where the file system knows it, else its last change.
  LocalDateTime creation;
  LocalDateTime last_access;
  LocalDateTime last_write;
};

/// An open file, closed on exec. Sizes and positions of 4 GiB and more lose their high bits.
/// Interrupted system calls are repeated.
class RandomAccessFile {
 public:
  enum class Access { READ, WRITE, READ_WRITE };
  enum class Origin { START, CURRENT, END };

  RandomAccessFile() = default;
  /// An existing file; directories are none.
  static RandomAccessFile Open(const char *path, Access access) noexcept;
  /// A new file, or an existing one emptied, for reading and writing.
  static RandomAccessFile Create(const char *path) noexcept;
  /// A new file of mode 0600 in the directory for temporary files, its name `prefix` and what makes
  /// it unique; `path` receives the name. Fails for names of `room` bytes and more.
  static RandomAccessFile CreateTemporary(std::string_view prefix, std::size_t room,
                                          std::string &path);

  bool IsOpen() const noexcept { return descriptor_.IsOpen(); }
  /// False when closing fails; the file is closed all the same, and closing it again succeeds.
  bool Close() noexcept { return descriptor_.Close(); }

  std::optional<std::uint32_t> Size() const noexcept;
  bool SetSize(std::uint32_t size) noexcept;
  /// The new position.
  std::optional<std::uint32_t> Seek(std::int32_t offset, Origin origin) noexcept;
  /// The number of bytes read, less than `count` only at the file's end.
  std::optional<std::uint32_t> Read(void *buffer, std::uint32_t count) noexcept;
  /// False unless all bytes were written.
  bool Write(const void *buffer, std::uint32_t count) noexcept;
  std::optional<FileTimes> Times() const noexcept;

 private:
  explicit RandomAccessFile(base::Descriptor descriptor) noexcept
      : descriptor_(std::move(descriptor)) {}

  base::Descriptor descriptor_;
};

bool DeleteFile(const char *path) noexcept;

/// Sets the given times of an existing file. A creation time is accepted, but no system call sets
/// one. A date that does not exist sets nothing: false.
bool SetFileTimes(const char *path, const LocalDateTime *creation, const LocalDateTime *last_access,
                  const LocalDateTime *last_write) noexcept;

}  // namespace velmora::platform
