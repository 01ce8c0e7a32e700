#include "platform/timed_locks.h"

#include <cerrno>
#include <chrono>
#include <ctime>

namespace velmora::platform {
namespace {

/// The point in monotonic time that lies so far ahead.
std::timespec Deadline(std::uint32_t milliseconds) noexcept {
  std::timespec deadline{};
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += milliseconds / 1000;
  deadline.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
  if (deadline.tv_nsec >= 1'000'000'000) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= 1'000'000'000;
  }
  return deadline;
}

}  // namespace

TimedMutex::TimedMutex() noexcept {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  valid_ = pthread_mutex_init(&mutex_, &attributes) == 0;
  pthread_mutexattr_destroy(&attributes);
}

TimedMutex::~TimedMutex() {
  if (valid_) pthread_mutex_destroy(&mutex_);
}

WaitOutcome TimedMutex::Wait(Milliseconds time_out) noexcept {
  // A mutex that is free needs no look at the clock.
  const int error = pthread_mutex_trylock(&mutex_);
  if (error != EBUSY) return Note(error);
  if (!time_out) return Note(pthread_mutex_lock(&mutex_));
  const std::timespec deadline = Deadline(*time_out);
  return Note(pthread_mutex_clocklock(&mutex_, CLOCK_MONOTONIC, &deadline));
}

WaitOutcome TimedMutex::Note(int error) noexcept {
  switch (error) {
    case 0:
      holder_ = std::this_thread::get_id();
      ++depth_;
      return WaitOutcome::ACQUIRED;
    case EOWNERDEAD:
      pthread_mutex_consistent(&mutex_);
      holder_ = std::this_thread::get_id();
      depth_ = 1;
      return WaitOutcome::ABANDONED;
    case ETIMEDOUT:
    case EBUSY:
      return WaitOutcome::TIMED_OUT;
    default:
      return WaitOutcome::FAILED;
  }
}

bool TimedMutex::Release() noexcept {
  if (holder_ != std::this_thread::get_id()) return false;
  if (--depth_ == 0) holder_ = std::thread::id();
  return pthread_mutex_unlock(&mutex_) == 0;
}

bool TimedMutex::ReleaseAll() noexcept {
  if (Note(pthread_mutex_trylock(&mutex_)) == WaitOutcome::TIMED_OUT) return false;
  while (Release()) {
  }
  return true;
}

WaitOutcome TimedSemaphore::Wait(Milliseconds time_out) noexcept {
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(time_out.value_or(0));
  const base::MutexLock lock(lock_);
  bool is_late = false;
  while (count_ == 0 && !is_late) {
    if (time_out) {
      is_late = released_.wait_until(lock_, end) == std::cv_status::timeout;
    } else {
      released_.wait(lock_);
    }
  }
  if (count_ == 0) return WaitOutcome::TIMED_OUT;
  --count_;
  return WaitOutcome::ACQUIRED;
}

bool TimedSemaphore::Release() noexcept {
  const base::MutexLock lock(lock_);
  if (count_ == maximum_) return false;
  ++count_;
  released_.notify_one();
  return true;
}

}  // namespace velmora::platform
