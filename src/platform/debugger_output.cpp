#include "platform/debugger_output.h"

#include <unistd.h>

#include "platform/files.h"

namespace velmora::platform {

void WriteDebuggerOutput(std::string_view line) noexcept {
  WriteWithoutSignal(STDERR_FILENO, line.data(), line.size());
}

}  // namespace velmora::platform
