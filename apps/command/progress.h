// Progress: a bar at the bottom of the terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>

namespace velmora::command {

/// Stands on the last line of standard error while several files are worked on; nothing of it is
/// shown where that is no terminal.
class Progress {
 public:
  Progress(std::size_t files, bool is_wanted);
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;
  ~Progress() { Clear(); }

  /// The next file is begun.
  void Begin(std::string_view file);
  /// Takes the bar away, so that lines can be written; the next file brings it back.
  void Clear() noexcept;

 private:
  const bool is_shown_;
  const std::size_t files_;
  std::size_t begun_ = 0;
  bool is_drawn_ = false;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace velmora::command
