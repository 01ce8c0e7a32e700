#include "command/progress.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "command/answers/messages.h"

namespace velmora::command {
namespace {

constexpr std::size_t BAR_WIDTH = 24;
constexpr auto INTERVAL = std::chrono::milliseconds(100);

std::size_t TerminalWidth() noexcept {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : 80;
}

}  // namespace

Progress::Progress(std::size_t files, bool is_wanted)
    : is_shown_(is_wanted && files > 1 && isatty(STDERR_FILENO) != 0),
      files_(files),
      next_(std::chrono::steady_clock::now()) {}

void Progress::Begin(std::string_view file) {
  const std::size_t done = begun_++;
  const auto now = std::chrono::steady_clock::now();
  if (!is_shown_ || (is_drawn_ && now < next_)) return;
  next_ = now + INTERVAL;
  const std::size_t filled = BAR_WIDTH * done / files_;
  const std::string bar =
      fmt::format("[{:#<{}}{:-<{}}] {}/{} ", "", filled, "", BAR_WIDTH - filled, done, files_);
  const std::size_t room = TerminalWidth() - 1;
  const std::string line =
      bar.size() + 4 < room ? bar + Printable(file, room - bar.size() - 3) : bar.substr(0, room);
  std::fprintf(stderr, "\r\x1B[K%s", line.c_str());
  std::fflush(stderr);
  is_drawn_ = true;
}

void Progress::Clear() noexcept {
  if (!is_drawn_) return;
  std::fputs("\r\x1B[K", stderr);
  std::fflush(stderr);
  is_drawn_ = false;
}

}  // namespace velmora::command
