// Terminal: a full-screen display and its keys.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <termios.h>
#include <vector>

namespace velmora::command {

struct TerminalSize {
  std::size_t columns = 80;
  std::size_t lines = 24;
};

/// Takes the terminal of standard output over while it lives; keys come from standard input. One a
/// process.
class Terminal {
 public:
  Terminal();
  Terminal(const Terminal &) = delete;
  Terminal &operator=(const Terminal &) = delete;
  ~Terminal();

  /// Is standard output a terminal at all?
  static bool IsThere() noexcept;

  TerminalSize Size() const noexcept;
  void Show(const std::vector<std::string> &lines);
  /// Waits, and answers whether the user wants to leave: by "q", or by a signal to end.
  bool WaitForLeaving(std::chrono::milliseconds time);

 private:
  termios before_{};
  bool has_keys_ = false;
};

}  // namespace velmora::command
