#include "diag/log.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>

#include "platform/clock.h"
#include "platform/formatter.h"
#include "platform/process.h"

namespace velmora {
namespace {

constexpr std::string_view EXCEPTION_PREFIX = "Exception: ";

/// Null while logging is off, so that the test for it is the one for null.
std::atomic<CDebugLog *> current_log{nullptr};

/// Puts "#<process id>.log" in the place of the extension.
void NameAfterProcess(std::string &path) {
  path.resize(std::min(path.rfind('.'), path.size()));
  path.append("#").append(std::to_string(platform::ProcessId())).append(".log");
}

/// Opens the log file beside the host's executable.
platform::OutputFile OpenLogFile(std::uint32_t mode, std::string_view file_name) noexcept try {
  std::optional<std::string> path = platform::ExecutablePath();
  if (!path) return {};
  const std::size_t separator = path->rfind(platform::PATH_SEPARATOR);
  if (separator == std::string::npos) return {};
  path->replace(separator + 1, std::string::npos, file_name);
  if ((mode & LOG_NAME_PROCESS) != 0) NameAfterProcess(*path);
  return platform::OutputFile::AppendTo(*path);
} catch (...) {
  return {};
}

}  // namespace

CDebugLog::CDebugLog(std::uint32_t mode, std::string_view file_name, DebuggerSink sink) noexcept
    : mode_(mode), sink_(sink) {
  if (mode == 0) return;
  if ((mode & LOG_TO_FILE) != 0) {
    file_ = OpenLogFile(mode, file_name);
    if (!file_.IsOpen()) mode_ = LOG_TO_DEBUGGER;
  }
  WriteHeader("Log started at %s on %s.", platform::LocalTime().c_str(),
              platform::LocalDate().c_str());
}

CDebugLog::~CDebugLog() {
  CDebugLog *self = this;
  current_log.compare_exchange_strong(self, nullptr);
}

void CDebugLog::Close() noexcept {
  const base::MutexLock lock(lock_);
  mode_ = 0;
  file_ = {};
}

void CDebugLog::Write(const char *format, std::va_list arguments) noexcept {
  WriteLine("", format, arguments);
}

void CDebugLog::WriteException(const char *format, std::va_list arguments) noexcept {
  WriteLine(EXCEPTION_PREFIX, format, arguments);
}

void CDebugLog::WriteHeader(const char *format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  Write(format, arguments);
  va_end(arguments);
}

void CDebugLog::WriteLine(std::string_view prefix, const char *format,
                          std::va_list arguments) noexcept {
  static_assert(sizeof line_ > EXCEPTION_PREFIX.size() + platform::FORMAT_LIMIT + 2);
  if (mode() == 0) return;
  const base::MutexLock lock(lock_);
  const std::uint32_t outputs = mode();
  char *const text = std::copy(prefix.begin(), prefix.end(), line_);
  char *end = text + platform::Format(text, format, arguments);
  if (end == line_ || end[-1] != '\n') end = std::copy_n("\r\n", 2, end);
  const std::string_view line(line_, static_cast<std::size_t>(end - line_));
  if ((outputs & LOG_TO_FILE) != 0) file_.Write(line);
  if ((outputs & LOG_TO_DEBUGGER) != 0) sink_(line);
}

CDebugLog *InstallLog(CDebugLog *log) noexcept {
  return current_log.exchange(log != nullptr && log->mode() != 0 ? log : nullptr);
}

bool IsLogOn() noexcept {
  return current_log.load(std::memory_order_acquire) != nullptr;
}

void Log(const char *format, ...) noexcept {
  CDebugLog *const log = current_log.load(std::memory_order_acquire);
  if (log == nullptr) return;
  std::va_list arguments;
  va_start(arguments, format);
  log->Write(format, arguments);
  va_end(arguments);
}

void LogException(const char *format, ...) noexcept {
  CDebugLog *const log = current_log.load(std::memory_order_acquire);
  if (log == nullptr) return;
  std::va_list arguments;
  va_start(arguments, format);
  log->WriteException(format, arguments);
  va_end(arguments);
}

}  // namespace velmora
