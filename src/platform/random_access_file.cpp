#include "platform/random_access_file.h"

#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "base/temporary_file.h"
#include "platform/files.h"

namespace velmora::platform {
namespace {

base::Descriptor OpenFile(const char *path, int flags) noexcept {
  return base::Descriptor(
      static_cast<int>(TEMP_FAILURE_RETRY(open(path, flags | O_CLOEXEC, 0666))));
}

bool IsDirectory(int descriptor) noexcept {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<LocalDateTime> ToLocal(std::int64_t seconds, std::uint32_t nanoseconds) noexcept {
  const std::time_t time = seconds;
  std::tm local{};
  if (localtime_r(&time, &local) == nullptr) return std::nullopt;
  return LocalDateTime{local.tm_year + 1900,
                       local.tm_mon + 1,
                       local.tm_mday,
                       local.tm_hour,
                       local.tm_min,
                       local.tm_sec,
                       static_cast<int>(nanoseconds / 10'000'000)};
}

/// None for a date that does not exist.
std::optional<std::timespec> FromLocal(const LocalDateTime &date) noexcept {
  const bool leap = date.year % 4 == 0 && (date.year % 100 != 0 || date.year % 400 == 0);
  const int days[] = {31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (date.year < 1601 || date.month < 1 || date.month > 12 || date.day < 1 ||
      date.day > days[date.month - 1] || date.hour > 23 || date.minute > 59 || date.second > 59 ||
      date.hundredths > 99 || date.hour < 0 || date.minute < 0 || date.second < 0 ||
      date.hundredths < 0) {
    return std::nullopt;
  }
  std::tm local{};
  local.tm_year = date.year - 1900;
  local.tm_mon = date.month - 1;
  local.tm_mday = date.day;
  local.tm_hour = date.hour;
  local.tm_min = date.minute;
  local.tm_sec = date.second;
  local.tm_isdst = -1;
  return std::timespec{std::mktime(&local), date.hundredths * 10'000'000L};
}

}  // namespace

RandomAccessFile RandomAccessFile::Open(const char *path, Access access) noexcept {
  static constexpr int FLAGS[] = {O_RDONLY, O_WRONLY, O_RDWR};
  base::Descriptor file = OpenFile(path, FLAGS[static_cast<int>(access)]);
  if (file.IsOpen() && IsDirectory(file.number())) return {};
  return RandomAccessFile(std::move(file));
}

RandomAccessFile RandomAccessFile::Create(const char *path) noexcept {
  return RandomAccessFile(OpenFile(path, O_RDWR | O_CREAT | O_TRUNC));
}

RandomAccessFile RandomAccessFile::CreateTemporary(std::string_view prefix, std::size_t room,
                                                   std::string &path) {
  return RandomAccessFile(base::Descriptor(base::MakeTemporaryFile(prefix, room, path)));
}

std::optional<std::uint32_t> RandomAccessFile::Size() const noexcept {
  struct stat status;
  if (fstat(descriptor_.number(), &status) != 0) return std::nullopt;
  return static_cast<std::uint32_t>(status.st_size);
}

bool RandomAccessFile::SetSize(std::uint32_t size) noexcept {
  return SetSizeWithoutSignal(descriptor_.number(), size) == 0;
}

std::optional<std::uint32_t> RandomAccessFile::Seek(std::int32_t offset, Origin origin) noexcept {
  static constexpr int WHENCE[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  const off_t position = lseek(descriptor_.number(), offset, WHENCE[static_cast<int>(origin)]);
  if (position < 0) return std::nullopt;
  return static_cast<std::uint32_t>(position);
}

std::optional<std::uint32_t> RandomAccessFile::Read(void *buffer, std::uint32_t count) noexcept {
  std::uint32_t done = 0;
  while (done < count) {
    const ssize_t length = TEMP_FAILURE_RETRY(
        read(descriptor_.number(), static_cast<char *>(buffer) + done, count - done));
    if (length < 0) return std::nullopt;
    if (length == 0) break;
    done += static_cast<std::uint32_t>(length);
  }
  return done;
}

bool RandomAccessFile::Write(const void *buffer, std::uint32_t count) noexcept {
  std::uint32_t done = 0;
  while (done < count) {
    const ssize_t length = WriteWithoutSignal(
        descriptor_.number(), static_cast<const char *>(buffer) + done, count - done);
    if (length <= 0) return false;
    done += static_cast<std::uint32_t>(length);
  }
  return true;
}

bool DeleteFile(const char *path) noexcept {
  return unlink(path) == 0;
}

std::optional<FileTimes> RandomAccessFile::Times() const noexcept {
  struct statx status;
  if (statx(descriptor_.number(), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &status) !=
      0) {
    return std::nullopt;
  }
  const bool has_birth = (status.stx_mask & STATX_BTIME) != 0;
  const struct statx_timestamp &birth = has_birth ? status.stx_btime : status.stx_ctime;
  const auto creation = ToLocal(birth.tv_sec, birth.tv_nsec);
  const auto last_access = ToLocal(status.stx_atime.tv_sec, status.stx_atime.tv_nsec);
  const auto last_write = ToLocal(status.stx_mtime.tv_sec, status.stx_mtime.tv_nsec);
  if (!creation || !last_access || !last_write) return std::nullopt;
  return FileTimes{*creation, *last_access, *last_write};
}

bool SetFileTimes(const char *path, const LocalDateTime *creation, const LocalDateTime *last_access,
                  const LocalDateTime *last_write) noexcept {
  struct stat status;
  if (stat(path, &status) != 0 || S_ISDIR(status.st_mode)) return false;
  if (creation != nullptr && !FromLocal(*creation)) return false;
  std::timespec times[2];
  const LocalDateTime *const given[2] = {last_access, last_write};
  for (int i = 0; i < 2; ++i) {
    const auto time = given[i] == nullptr ? std::timespec{0, UTIME_OMIT} : FromLocal(*given[i]);
    if (!time) return false;
    times[i] = *time;
  }
  return utimensat(AT_FDCWD, path, times, 0) == 0;
}

}  // namespace velmora::platform
