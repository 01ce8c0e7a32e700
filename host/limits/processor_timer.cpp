#include "host/limits/processor_timer.h"

#include <ctime>

namespace velmora::host {
namespace {

std::chrono::nanoseconds Read(clockid_t clock) noexcept {
  timespec time{};
  clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

std::chrono::nanoseconds WallTime() noexcept {
  return Read(CLOCK_MONOTONIC);
}

}  // namespace

std::chrono::nanoseconds ThreadTime() noexcept {
  return Read(CLOCK_THREAD_CPUTIME_ID);
}

ThreadClocks &ThreadClocks::Own() noexcept {
  static constinit thread_local ThreadClocks clocks{&WallTime, &ThreadTime};
  return clocks;
}

}  // namespace velmora::host
