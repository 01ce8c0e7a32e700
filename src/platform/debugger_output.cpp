#include "platform/debugger_output.h"

#include <cerrno>
#include <unistd.h>

namespace velmora::platform {

void WriteDebuggerOutput(std::string_view line) noexcept {
  [[maybe_unused]] const auto written =
      TEMP_FAILURE_RETRY(::write(STDERR_FILENO, line.data(), line.size()));
}

}  // namespace velmora::platform
