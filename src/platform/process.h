// The host process: where its executable stands, its id.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace velmora::platform {

/// The path of the running executable; none when it cannot be obtained or has 260 bytes or more.
/// The environment variable VELMORA_DIRECTORY, unless the process is privileged, takes the place of
/// its directory; a relative one is taken from the directory that the process works in now.
std::optional<std::string> ExecutablePath();

std::uint32_t ProcessId() noexcept;

}  // namespace velmora::platform
