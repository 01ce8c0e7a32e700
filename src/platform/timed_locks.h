// Locks with a time-out.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <optional>
#include <pthread.h>
#include <thread>

#include "base/mutex.h"

namespace velmora::platform {

enum class WaitOutcome {
  ACQUIRED,
  FAILED,
  TIMED_OUT,
  /// Acquired, but the thread that held it ended without releasing it.
  ABANDONED,
};

/// None waits for ever. Time is that of a clock that nobody sets.
using Milliseconds = std::optional<std::uint32_t>;

/// A mutex that its holder may acquire again, and that outlives a holder's end.
class TimedMutex {
 public:
  TimedMutex() noexcept;
  TimedMutex(const TimedMutex &) = delete;
  TimedMutex &operator=(const TimedMutex &) = delete;
  ~TimedMutex();

  bool IsValid() const noexcept { return valid_; }
  WaitOutcome Wait(Milliseconds time_out) noexcept;
  /// False for a thread that does not hold it.
  bool Release() noexcept;
  /// Releases it as often as the calling thread holds it; false when another thread holds it. To be
  /// called before the mutex is destroyed.
  bool ReleaseAll() noexcept;

 private:
  /// What an attempt to lock came to; takes note of the new holder.
  WaitOutcome Note(int error) noexcept;

  pthread_mutex_t mutex_;
  bool valid_;
  std::atomic<std::thread::id> holder_;
  /// How often the holder has it; the holder's to change.
  std::uint32_t depth_ = 0;
};

/// A count between 0 and a maximum; waiting takes one of it.
class TimedSemaphore {
 public:
  TimedSemaphore(std::int32_t count, std::int32_t maximum) noexcept
      : count_(count), maximum_(maximum) {}

  WaitOutcome Wait(Milliseconds time_out) noexcept;
  /// False, and nothing changes, when the count is at its maximum.
  bool Release() noexcept;

 private:
  base::Mutex lock_;
  std::condition_variable_any released_;
  std::int32_t count_ VELMORA_GUARDED_BY(lock_);
  const std::int32_t maximum_;
};

}  // namespace velmora::platform
