// The debugger's output: standard error here.
#pragma once

#include <string_view>

namespace velmora::platform {

/// Writes one line with one system call.
void WriteDebuggerOutput(std::string_view line) noexcept;

}  // namespace velmora::platform
