#include "command/answers/asked_log.h"

#include <stdexcept>

namespace velmora::command {

host::EventLogOptions AskedLog(const host::Policy &policy, const std::filesystem::path &file) {
  host::EventLogOptions log = policy.event_log.value_or(host::EventLogOptions());
  if (file.empty()) return log;
  const std::filesystem::path whole = std::filesystem::absolute(file);
  if (whole != log.file) {
    log.file = whole;
    log.store.clear();
  }
  return log;
}

host::EventLogOptions AskedLog(const std::filesystem::path &policy,
                               const std::filesystem::path &file) {
  const bool is_needed = file.empty() || std::filesystem::exists(policy);
  host::EventLogOptions log = AskedLog(is_needed ? host::ReadPolicy(policy) : host::Policy(), file);
  if (log.file.empty()) {
    throw std::runtime_error(policy.string() + " names no file for the event log; --log does");
  }
  return log;
}

}  // namespace velmora::command
