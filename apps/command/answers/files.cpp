#include "command/answers/files.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <system_error>
#include <unistd.h>

namespace velmora::command {
namespace {

[[noreturn]] void ThrowErrno(const std::string &what = {}) {
  const std::error_code error(errno, std::generic_category());
  throw what.empty() ? std::system_error(error) : std::system_error(error, what);
}

/// Devices and pipes are written to where they are; a link is followed to its file.
std::filesystem::path ReplaceablePath(const std::filesystem::path &path) {
  const std::filesystem::path real = std::filesystem::weakly_canonical(path);
  const auto status = std::filesystem::status(real);
  const bool replaceable =
      std::filesystem::is_regular_file(status) || !std::filesystem::exists(status);
  return replaceable ? real : std::filesystem::path();
}

// The file that grows, for the handler of signals that end the program.
char growing_file[PATH_MAX];
volatile std::sig_atomic_t is_growing = 0;

constexpr int ENDING_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU, SIGXFSZ};

void RemoveGrowingFile(int signal) {
  if (is_growing != 0) unlink(growing_file);
  // The handler is reset by now.
  raise(signal);
}

/// Signals that come meanwhile wait.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  SignalsHeld(const SignalsHeld &) = delete;
  SignalsHeld &operator=(const SignalsHeld &) = delete;
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

void HandleEndingSignals() {
  for (const int signal : ENDING_SIGNALS) {
    struct sigaction before {};
    struct sigaction action {};
    action.sa_handler = RemoveGrowingFile;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_DFL) {
      sigaction(signal, &action, nullptr);
    }
  }
}

std::FILE *CreateFile(const std::filesystem::path &path, int how) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | how, 0666);
  if (descriptor < 0) ThrowErrno(path.string());
  std::FILE *const file = fdopen(descriptor, "w");
  if (file == nullptr) ThrowErrno(path.string());
  return file;
}

}  // namespace

Input::Input(const std::string &name) : file_(stdin) {
  if (name == STANDARD_INPUT) return;
  opened_.reset(std::fopen(name.c_str(), "re"));
  if (opened_ == nullptr) ThrowErrno();
  file_ = opened_.get();
}

std::string Input::Read(std::size_t size) {
  std::string bytes(size, '\0');
  bytes.resize(std::fread(bytes.data(), 1, size, file_));
  if (std::ferror(file_)) ThrowErrno();
  return bytes;
}

Output::Output(const std::filesystem::path &path) : path_(path), file_(stdout) {
  if (path_.empty()) return;
  if (const std::filesystem::path real = ReplaceablePath(path_); !real.empty()) {
    path_ = real;
    temporary_ = real;
    temporary_ += ".part-" + std::to_string(getpid());
  }
  if (temporary_.empty()) {
    opened_.reset(CreateFile(path_, O_TRUNC));
  } else {
    HandleEndingSignals();
    const SignalsHeld held;
    opened_.reset(CreateFile(temporary_, O_EXCL));
    temporary_.native().copy(growing_file, sizeof growing_file - 1);
    is_growing = 1;
  }
  file_ = opened_.get();
}

Output::~Output() {
  if (temporary_.empty()) return;
  unlink(temporary_.c_str());
  is_growing = 0;
}

void Output::Write(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) {
    ThrowErrno(path_.empty() ? "standard output" : path_.string());
  }
}

void Output::Finish() {
  const bool is_written = opened_ ? std::fclose(opened_.release()) == 0 : std::fflush(stdout) == 0;
  if (!is_written) ThrowErrno(path_.empty() ? "standard output" : path_.string());
  if (temporary_.empty()) return;
  std::filesystem::rename(temporary_, path_);
  is_growing = 0;
  temporary_.clear();
}

}  // namespace velmora::command
