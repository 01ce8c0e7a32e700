#include "host/events/event_file.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora::host {
namespace {

std::error_code LastError() noexcept {
  return {errno, std::generic_category()};
}

/// This thread opens files as another user while it lives, if the process may do that.
class FileUser {
 public:
  FileUser(uid_t user, gid_t group) noexcept : is_other_(geteuid() != user || getegid() != group) {
    if (!is_other_) return;
    setfsgid(group);
    setfsuid(user);
  }
  FileUser(const FileUser &) = delete;
  FileUser &operator=(const FileUser &) = delete;
  ~FileUser() {
    if (!is_other_) return;
    const int error = errno;
    setfsuid(geteuid());
    setfsgid(getegid());
    errno = error;
  }

 private:
  const bool is_other_;
};

bool WaitUntilWritable(int descriptor, std::chrono::milliseconds patience) noexcept {
  pollfd writable{descriptor, POLLOUT, 0};
  return TEMP_FAILURE_RETRY(poll(&writable, 1, static_cast<int>(patience.count()))) > 0;
}

}  // namespace

EventFile::EventFile(std::filesystem::path path)
    : path_(std::move(path)), user_(geteuid()), group_(getegid()) {}

base::Descriptor EventFile::Open(std::error_code &error) const noexcept {
  error.clear();
  if (path_.empty()) {
    base::Descriptor descriptor(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3));
    if (!descriptor.IsOpen()) error = LastError();
    return descriptor;
  }
  const FileUser user(user_, group_);
  // A pipe that nobody reads is not waited for.
  constexpr int FLAGS = O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
  base::Descriptor descriptor(static_cast<int>(
      TEMP_FAILURE_RETRY(open(path_.c_str(), FLAGS, S_IRUSR | S_IWUSR | S_IRGRP))));
  if (!descriptor.IsOpen()) error = LastError();
  return descriptor;
}

void EventFile::Use(base::Descriptor descriptor) noexcept {
  descriptor_ = std::move(descriptor);
  is_line_broken_ = false;
  patience_ = PIPE_PATIENCE;
}

std::error_code EventFile::Write(std::string line) {
  if (is_line_broken_) line.insert(line.begin(), '\n');
  std::error_code error;
  std::string_view rest = line;
  while (!rest.empty() && !error) {
    const ssize_t length = write(descriptor_.number(), rest.data(), rest.size());
    if (length >= 0) {
      rest.remove_prefix(static_cast<std::size_t>(length));
      patience_ = PIPE_PATIENCE;
    } else if (errno == EAGAIN) {
      const bool has_room = WaitUntilWritable(descriptor_.number(), std::exchange(patience_, {}));
      if (!has_room) error = std::make_error_code(std::errc::resource_unavailable_try_again);
    } else if (errno != EINTR) {
      error = LastError();
    }
  }
  if (rest.size() < line.size()) is_line_broken_ = !rest.empty();
  return error;
}

std::string EventFile::Name() const {
  return path_.empty() ? "standard error" : path_.string();
}

}  // namespace velmora::host
