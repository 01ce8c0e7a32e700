// The debug log: one process-wide trace that every component writes printf-style lines to.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <string_view>

#include "base/mutex.h"
#include "platform/files.h"

namespace velmora {

/// Bits of the log's mode.
inline constexpr std::uint32_t LOG_TO_FILE = 1;
/// Puts the process id into the file's name.
inline constexpr std::uint32_t LOG_NAME_PROCESS = 2;
inline constexpr std::uint32_t LOG_TO_DEBUGGER = 4;

/// Writes trace lines to a file, to the debugger output, or to both. Any thread may log at any
/// time; lines never interleave.
class CDebugLog {
 public:
  /// Receives each line when the mode has `LOG_TO_DEBUGGER`; called inside the log's lock.
  using DebuggerSink = void (*)(std::string_view line) noexcept;

  /// A log in the given mode (0: off, nothing is opened), its file beside the host's executable.
  /// A file that cannot be opened turns the mode into `LOG_TO_DEBUGGER` alone.
  CDebugLog(std::uint32_t mode, std::string_view file_name,
            DebuggerSink sink = &platform::WriteDebuggerOutput) noexcept;
  CDebugLog(const CDebugLog &) = delete;
  CDebugLog &operator=(const CDebugLog &) = delete;
  /// Stops being the process-wide log, if it is that.
  ~CDebugLog();

  std::uint32_t mode() const noexcept { return mode_.load(std::memory_order_relaxed); }

  /// Closes the file; the mode is 0 from then on. Other threads may be logging.
  void Close() noexcept;

  /// Formats by the rules of platform/formatter.h and writes one line; a text that does not end in
  /// "\n" gets "\r\n".
  [[gnu::format(printf, 2, 0)]] void Write(const char *format, std::va_list arguments) noexcept;
  /// The same with "Exception: " in front.
  [[gnu::format(printf, 2, 0)]] void WriteException(const char *format,
                                                    std::va_list arguments) noexcept;

 private:
  [[gnu::format(printf, 2, 3)]] void WriteHeader(const char *format, ...) noexcept;
  [[gnu::format(printf, 3, 0)]] void WriteLine(std::string_view prefix, const char *format,
                                               std::va_list arguments) noexcept;

  std::atomic<std::uint32_t> mode_;
  platform::OutputFile file_ VELMORA_GUARDED_BY(lock_);
  DebuggerSink sink_;
  base::Mutex lock_;
  /// The line being written.
  char line_[2048] VELMORA_GUARDED_BY(lock_);
};

/// Makes `log` the process-wide log (null: none) and returns the one before. A log whose mode is 0
/// counts as none. The module does this once it is built; tests do it to record lines. A log that
/// is taken away may still get lines of other threads; it is destroyed when they are done.
CDebugLog *InstallLog(CDebugLog *log) noexcept;

/// Is there a log that lines go to?
bool IsLogOn() noexcept;

/// Writes a line to the process-wide log. When the log is off this costs one comparison.
[[gnu::format(printf, 1, 2)]] void Log(const char *format, ...) noexcept;
[[gnu::format(printf, 1, 2)]] void LogException(const char *format, ...) noexcept;

}  // namespace velmora
