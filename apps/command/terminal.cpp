#include "command/terminal.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace velmora::command {
namespace {

volatile std::sig_atomic_t wants_to_leave = 0;

void Leave(int) {
  wants_to_leave = 1;
}

void Put(const std::string &text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

}  // namespace

Terminal::Terminal() {
  struct sigaction action {};
  action.sa_handler = Leave;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
  has_keys_ = tcgetattr(STDIN_FILENO, &before_) == 0;
  if (has_keys_) {
    termios keys = before_;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(STDIN_FILENO, TCSANOW, &keys);
  }
  Put("\x1B[?1049h\x1B[?25l");
}

Terminal::~Terminal() {
  Put("\x1B[?25h\x1B[?1049l");
  if (has_keys_) tcsetattr(STDIN_FILENO, TCSANOW, &before_);
}

bool Terminal::IsThere() noexcept {
  return isatty(STDOUT_FILENO) != 0;
}

TerminalSize Terminal::Size() const noexcept {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
    return {};
  }
  return {size.ws_col, size.ws_row};
}

void Terminal::Show(const std::vector<std::string> &lines) {
  const std::size_t count = std::min(lines.size(), Size().lines);
  std::string screen = "\x1B[H";
  for (std::size_t i = 0; i < count; ++i) {
    screen += lines[i] + "\x1B[K" + (i + 1 < count ? "\r\n" : "");
  }
  Put(screen + "\x1B[J");
}

bool Terminal::WaitForLeaving(std::chrono::milliseconds time) {
  pollfd keys{has_keys_ ? STDIN_FILENO : -1, POLLIN, 0};
  if (wants_to_leave != 0) return true;
  if (poll(&keys, 1, static_cast<int>(time.count())) > 0) {
    char key = 0;
    if (read(STDIN_FILENO, &key, 1) <= 0) has_keys_ = false;
    return key == 'q' || key == 'Q';
  }
  return wants_to_leave != 0;
}

}  // namespace velmora::command
