#include "command/answers/allowing.h"

#include <chrono>
#include <stdexcept>

#include "command/answers/event_filter.h"
#include "host/policy/policy.h"

namespace velmora::command {

std::filesystem::path ExceptionsOf(const std::filesystem::path &policy) {
  if (!std::filesystem::exists(policy))
    throw std::runtime_error(policy.string() + ": no such file");
  return host::ReadPolicy(policy).exceptions_file;
}

void RunOutIn(host::Exception &exception, const std::string &span) {
  const auto time = ParseSpan(span);
  if (!time || time->count() == 0) {
    throw std::invalid_argument("\"" + span + "\" is no time such as 30min, 1h or 7d");
  }
  exception.until = std::chrono::system_clock::now() + *time;
}

}  // namespace velmora::command
