// Records what the process-wide log receives while it is in scope.
#pragma once

#include <string>
#include <string_view>

#include "diag/log.h"

namespace velmora::testing {

class LogRecorder {
 public:
  LogRecorder() : log_(LOG_TO_DEBUGGER, "", &Append) {
    text_.clear();
    previous_ = InstallLog(&log_);
  }
  LogRecorder(const LogRecorder &) = delete;
  LogRecorder &operator=(const LogRecorder &) = delete;
  ~LogRecorder() { InstallLog(previous_); }

  /// Everything logged so far, line ends as written; the header line is left out.
  static const std::string &Text() { return text_; }
  static void Clear() { text_.clear(); }

 private:
  static void Append(std::string_view line) noexcept { text_ += line; }

  static inline std::string text_;
  CDebugLog log_;
  CDebugLog *previous_ = nullptr;
};

}  // namespace velmora::testing
