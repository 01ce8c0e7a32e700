#include "files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "base/descriptor.h"

namespace velmora::adblock {
namespace {

constexpr off_t MAX_FILE = off_t{256} << 20;

/// Without waiting: what is named may be a pipe.
base::Descriptor Open(const std::string &path, int flags) {
  return base::Descriptor(open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

std::string ErrorText() {
  return std::generic_category().message(errno);
}

bool WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

std::optional<std::string> ReadFile(const std::string &path, std::string *problem) {
  const base::Descriptor file = Open(path, O_RDONLY);
  struct stat status {};
  if (!file.IsOpen() || fstat(file.number(), &status) != 0) {
    *problem = ErrorText();
    return std::nullopt;
  }
  if (!S_ISREG(status.st_mode) || status.st_size > MAX_FILE) {
    *problem = S_ISREG(status.st_mode) ? "too large" : "not a regular file";
    return std::nullopt;
  }
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t size = 0;
  while (size < bytes.size()) {
    const ssize_t count = read(file.number(), bytes.data() + size, bytes.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      *problem = ErrorText();
      return std::nullopt;
    }
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  bytes.resize(size);
  return bytes;
}

bool IsFile(const std::string &path) {
  std::error_code ignored;
  return std::filesystem::is_regular_file(path, ignored);
}

bool IsFolder(const std::string &path) {
  std::error_code ignored;
  return std::filesystem::is_directory(path, ignored);
}

std::vector<std::string> FilesOfFolder(const std::string &path) {
  std::vector<std::string> files;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    std::error_code ignored;
    if (!name.starts_with('.') && !name.ends_with('~') && entry->is_regular_file(ignored)) {
      files.push_back(entry->path().string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::optional<SharedBytes> MapOwnFile(const std::string &path) {
  const base::Descriptor file = Open(path, O_RDONLY | O_NOFOLLOW);
  struct stat status {};
  if (!file.IsOpen() || fstat(file.number(), &status) != 0) return std::nullopt;
  if (!S_ISREG(status.st_mode) || status.st_uid != geteuid() ||
      (status.st_mode & (S_IWGRP | S_IWOTH)) != 0 || status.st_size <= 0 ||
      status.st_size > MAX_FILE) {
    return std::nullopt;
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  void *data = mmap(nullptr, size, PROT_READ, MAP_SHARED | MAP_POPULATE, file.number(), 0);
  if (data == MAP_FAILED) return std::nullopt;
  return SharedBytes{{static_cast<const char *>(data), size},
                     std::shared_ptr<const void>(data, [size](const void *mapped) {
                       munmap(const_cast<void *>(mapped), size);
                     })};
}

bool ReplaceFile(const std::string &folder, const std::string &path, std::string_view bytes) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) return false;
  std::string temporary = path + ".XXXXXX";
  const int descriptor = mkostemp(temporary.data(), O_CLOEXEC);
  if (descriptor < 0) return false;
  // Readers map the file: nobody is to write to it, or cut it off, by mistake.
  const bool written = WriteAll(descriptor, bytes) && fchmod(descriptor, S_IRUSR) == 0;
  const bool closed = close(descriptor) == 0;
  if (written && closed && rename(temporary.c_str(), path.c_str()) == 0) return true;
  unlink(temporary.c_str());
  return false;
}

std::string Environment(const char *name) {
  const char *value = secure_getenv(name);
  return value ? value : "";
}

void ReleaseUnusedMemory() noexcept {
  malloc_trim(0);
}

}  // namespace velmora::adblock
