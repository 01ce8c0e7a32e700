// The fast paths: engines that read pages and scripts as the plain ones do, only faster.
//
// The plain engines are tables that can be read row by row; a fast one beside them is held to the
// same bytes, commits, reports, questions and log lines by tests that run every case through both.
#pragma once

#include <atomic>

namespace velmora {

#ifdef VELMORA_FAST_PATH
inline constexpr bool FAST_PATH_BUILT = true;
#else
inline constexpr bool FAST_PATH_BUILT = false;
#endif

/// For tests alone: false turns the fast paths off for whatever begins after it.
inline constinit std::atomic<bool> fast_path_allowed{true};

inline bool UsesFastPath() noexcept {
  return FAST_PATH_BUILT && fast_path_allowed.load(std::memory_order_relaxed);
}

}  // namespace velmora
