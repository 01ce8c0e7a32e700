// PseudoTerminal: a program in a terminal of its own, with somebody who looks and types. No shell
// and no other program stands between: those run programs as the environment has it.
#pragma once

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <pty.h>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace velmora::command {

class PseudoTerminal {
 public:
  /// The first word is the program's file; it runs in `folder`.
  PseudoTerminal(const std::string &folder, std::vector<std::string> words) {
    winsize size{.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
    std::vector<char *> arguments;
    for (std::string &word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    child_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (child_ != 0) return;
    if (chdir(folder.c_str()) != 0) _exit(126);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  PseudoTerminal(const PseudoTerminal &) = delete;
  PseudoTerminal &operator=(const PseudoTerminal &) = delete;
  ~PseudoTerminal() {
    if (child_ > 0) End();
    if (terminal_ >= 0) close(terminal_);
  }

  /// Answers whether the text comes within some time, after what was waited for before.
  bool Shows(std::string_view text) {
    const auto deadline = Clock::now() + PATIENCE;
    for (;;) {
      if (const std::size_t found = shown_.find(text, seen_); found != shown_.npos) {
        seen_ = found + text.size();
        return true;
      }
      if (!ReadMore(deadline)) return false;
    }
  }
  bool Type(std::string_view keys) {
    return write(terminal_, keys.data(), keys.size()) == static_cast<ssize_t>(keys.size());
  }
  /// Waits for the program's end; -1: it does not come, or not by itself.
  int ExitCode() {
    const auto deadline = Clock::now() + PATIENCE;
    while (ReadMore(deadline)) {
    }
    if (child_ <= 0) return -1;
    const int status = Clock::now() < deadline ? Wait() : End();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  /// All that was written so far.
  const std::string &Shown() const { return shown_; }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr auto PATIENCE = std::chrono::seconds(20);

  /// False at the end, or when nothing comes in time.
  bool ReadMore(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd output{terminal_, POLLIN, 0};
    if (poll(&output, 1, static_cast<int>(std::max<std::int64_t>(left, 0))) <= 0) return false;
    char piece[4096];
    const ssize_t length = read(terminal_, piece, sizeof piece);
    if (length <= 0) return false;
    shown_.append(piece, static_cast<std::size_t>(length));
    return true;
  }
  int Wait() {
    int status = -1;
    waitpid(child_, &status, 0);
    child_ = 0;
    return status;
  }
  int End() {
    kill(child_, SIGKILL);
    return Wait();
  }

  int terminal_ = -1;
  pid_t child_ = -1;
  std::string shown_;
  std::size_t seen_ = 0;
};

}  // namespace velmora::command
