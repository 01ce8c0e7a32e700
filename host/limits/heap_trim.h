// HeapTrim: gives the heap's unused memory back to the system, in a small share of the time.
//
// What the plug-in takes for a large body it takes in small pieces, and the heap does not give
// those back by itself. Going through the heap takes milliseconds, the longer the more scattered it
// is: a host that gets one large body after another would go through it again and again.
#pragma once

#include <atomic>
#include <chrono>

namespace velmora::host {

/// Used by several threads.
class HeapTrim {
 public:
  using Clock = std::chrono::nanoseconds (*)() noexcept;
  using Trim = void (*)() noexcept;
  /// One trimming of so many times its duration.
  static constexpr int SHARE = 50;

  constexpr HeapTrim(Clock clock, Trim trim) noexcept : clock_(clock), trim_(trim) {}
  /// That of this process.
  static HeapTrim &OfProcess() noexcept;

  /// A body is done with, and there may be much to give back. It may wait for another one's end.
  void AfterLargeBody() noexcept {
    is_wanted_.store(true, std::memory_order_relaxed);
    AfterBody();
  }
  /// Any other is; costs next to nothing unless something waits.
  void AfterBody() noexcept {
    if (is_wanted_.load(std::memory_order_relaxed)) TrimIfDue();
  }

 private:
  void TrimIfDue() noexcept;

  const Clock clock_;
  const Trim trim_;
  std::atomic<bool> is_wanted_ = false;
  /// At this time the next one may begin; never, while one goes on.
  std::atomic<std::chrono::nanoseconds> due_{std::chrono::nanoseconds(0)};
};

}  // namespace velmora::host
