// Locks inside one process.
#pragma once

#include <mutex>

namespace velmora::platform {

/// Entered by one thread at a time; usable with `std::lock_guard`.
using CriticalSection = std::mutex;

}  // namespace velmora::platform
