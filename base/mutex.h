// A mutex whose use clang checks when it compiles: a member that is marked with the mutex that
// guards it is touched nowhere without it. Other compilers see a plain mutex.
#pragma once

#include <mutex>

#if defined(__clang__)
#define VELMORA_THREAD_CHECK(attribute) __attribute__((attribute))
#else
#define VELMORA_THREAD_CHECK(attribute)
#endif
/// Of a member: touched only while `mutex` is held.
#define VELMORA_GUARDED_BY(mutex) VELMORA_THREAD_CHECK(guarded_by(mutex))
/// Of a function: called only while `mutex` is held.
#define VELMORA_REQUIRES(mutex) VELMORA_THREAD_CHECK(requires_capability(mutex))

namespace velmora::base {

/// As `std::mutex`. With `std::condition_variable_any`, which takes any lock.
class VELMORA_THREAD_CHECK(capability("mutex")) Mutex {
 public:
  constexpr Mutex() noexcept = default;
  Mutex(const Mutex &) = delete;
  Mutex &operator=(const Mutex &) = delete;

  void lock() VELMORA_THREAD_CHECK(acquire_capability()) { mutex_.lock(); }
  void unlock() VELMORA_THREAD_CHECK(release_capability()) { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// Holds a mutex while it lives.
class VELMORA_THREAD_CHECK(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex &mutex) VELMORA_THREAD_CHECK(acquire_capability(mutex)) : mutex_(mutex) {
    mutex_.lock();
  }
  MutexLock(const MutexLock &) = delete;
  MutexLock &operator=(const MutexLock &) = delete;
  ~MutexLock() VELMORA_THREAD_CHECK(release_capability()) { mutex_.unlock(); }

 private:
  Mutex &mutex_;
};

}  // namespace velmora::base
