// The number of this process, without a system call for each event.
#pragma once

#include <sys/types.h>

namespace velmora::host {

/// As `getpid` has it, after a fork too.
pid_t ProcessNumber() noexcept;

}  // namespace velmora::host
