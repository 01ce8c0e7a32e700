#include "platform/files.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora::platform {
namespace {

/// While it lives, this thread takes neither of the signals that system calls raise about files;
/// those that came meanwhile are gone with it, those of before stay as they were.
class FileSignalsHeld {
 public:
  FileSignalsHeld() noexcept {
    sigemptyset(&held_);
    sigaddset(&held_, SIGPIPE);
    sigaddset(&held_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &held_, &mask_before_);
    // Only a signal that is blocked already can be waiting.
    sigset_t waiting;
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
      if (sigismember(&mask_before_, signal) == 1 && sigpending(&waiting) == 0 &&
          sigismember(&waiting, signal) == 1) {
        sigdelset(&held_, signal);
      }
    }
  }
  FileSignalsHeld(const FileSignalsHeld &) = delete;
  FileSignalsHeld &operator=(const FileSignalsHeld &) = delete;
  ~FileSignalsHeld() { pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr); }

  /// To be called when a system call failed: takes the signal that it raised.
  void Take() const noexcept {
    const int error = errno;
    constexpr timespec AT_ONCE{};
    if (error == EPIPE || error == EFBIG) {
      TEMP_FAILURE_RETRY(sigtimedwait(&held_, nullptr, &AT_ONCE));
    }
    errno = error;
  }

 private:
  sigset_t held_;
  sigset_t mask_before_;
};

template <class Call>
auto WithoutSignal(Call call) noexcept {
  const FileSignalsHeld signals;
  const auto result = TEMP_FAILURE_RETRY(call());
  if (result < 0) signals.Take();
  return result;
}

/// A pipe without a reader is not waited for: opening it fails.
base::Descriptor Open(const std::string &path, int flags, mode_t mode = 0) noexcept {
  return base::Descriptor(static_cast<int>(
      TEMP_FAILURE_RETRY(open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, mode))));
}

}  // namespace

ssize_t WriteWithoutSignal(int descriptor, const void *bytes, std::size_t count) noexcept {
  return WithoutSignal([=] { return write(descriptor, bytes, count); });
}

int SetSizeWithoutSignal(int descriptor, off_t size) noexcept {
  return static_cast<int>(WithoutSignal([=] { return ftruncate(descriptor, size); }));
}

void WriteDebuggerOutput(std::string_view line) noexcept {
  WriteWithoutSignal(STDERR_FILENO, line.data(), line.size());
}

OutputFile OutputFile::AppendTo(const std::string &path) noexcept {
  return OutputFile(Open(path, O_WRONLY | O_CREAT | O_APPEND, 0640));
}

OutputFile OutputFile::Replace(const std::string &path) noexcept {
  return OutputFile(Open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666));
}

void OutputFile::Write(std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t written = WriteWithoutSignal(descriptor_.number(), bytes.data(), bytes.size());
    if (written <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

std::string ReadFile(const std::string &path) {
  std::string bytes;
  const base::Descriptor file = Open(path, O_RDONLY);
  struct stat status;
  if (!file.IsOpen() || fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return bytes;
  }
  char block[4096];
  ssize_t count;
  while ((count = TEMP_FAILURE_RETRY(read(file.number(), block, sizeof block))) > 0) {
    bytes.append(block, static_cast<std::size_t>(count));
  }
  return bytes;
}

void MakeDirectory(const std::string &path) noexcept {
  mkdir(path.c_str(), 0777);
}

}  // namespace velmora::platform
