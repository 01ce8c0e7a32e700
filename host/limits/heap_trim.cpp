#include "host/limits/heap_trim.h"

#include <malloc.h>

namespace velmora::host {

HeapTrim &HeapTrim::OfProcess() noexcept {
  static constinit HeapTrim trim{[]() noexcept -> std::chrono::nanoseconds {
                                   return std::chrono::steady_clock::now().time_since_epoch();
                                 },
                                 []() noexcept { malloc_trim(0); }};
  return trim;
}

void HeapTrim::TrimIfDue() noexcept {
  const auto begin = clock_();
  auto due = due_.load();
  // Whoever puts the other value there is the one that does it.
  if (begin < due || !due_.compare_exchange_strong(due, std::chrono::nanoseconds::max())) return;
  is_wanted_ = false;
  trim_();
  const auto end = clock_();
  due_ = end + (SHARE - 1) * (end - begin);
}

}  // namespace velmora::host
