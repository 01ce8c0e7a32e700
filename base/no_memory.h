// What code that takes memory otherwise than by `operator new` does when it gets none.
#pragma once

#include <new>

namespace velmora::base {

/// Tells the process's new-handler, as `operator new` does, without another try.
inline void TellNoMemory() noexcept {
  const std::new_handler handler = std::get_new_handler();
  if (handler == nullptr) return;
  try {
    handler();
  } catch (...) {
    // That is how it says that there is none.
  }
}

}  // namespace velmora::base
