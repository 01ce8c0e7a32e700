// ProcessorTimer: the processor time that something takes of its thread, however short it is and
// however often it comes.
//
// A thread's processor clock is a system call of some microseconds: a host that gets a body in
// small pieces would spend more on reading it than on the body. The clock on the wall costs next to
// nothing, and nothing takes more processor time than passes by it. So what ends soon behind the
// last reading of the processor clock counts for as long as it lasted; only what lasts is measured.
#pragma once

#include <algorithm>
#include <chrono>

namespace velmora::host {

/// Processor time of the calling thread since it began.
std::chrono::nanoseconds ThreadTime() noexcept;

/// The two clocks of a thread, and what they last said together.
class ThreadClocks {
 public:
  using Clock = std::chrono::nanoseconds (*)() noexcept;
  /// As long as this a reading of the processor clock is good for.
  static constexpr std::chrono::nanoseconds SHORT = std::chrono::microseconds(50);

  constexpr ThreadClocks(Clock wall, Clock processor) noexcept
      : wall_(wall), processor_(processor) {}
  /// Those of the calling thread.
  static ThreadClocks &Own() noexcept;

  std::chrono::nanoseconds Wall() const noexcept { return wall_(); }
  /// Is the last reading of the processor clock no longer good, now that the other says `wall`?
  bool IsOldAt(std::chrono::nanoseconds wall) const noexcept { return wall - read_at_ >= SHORT; }
  void ReadAt(std::chrono::nanoseconds wall) noexcept {
    read_at_ = wall;
    read_ = processor_();
  }
  std::chrono::nanoseconds LastRead() const noexcept { return read_; }

 private:
  Clock wall_;
  Clock processor_;
  std::chrono::nanoseconds read_at_ = -SHORT;
  std::chrono::nanoseconds read_{0};
};

/// Used by one thread.
class ProcessorTimer {
 public:
  /// Runs from here on.
  explicit ProcessorTimer(ThreadClocks &clocks = ThreadClocks::Own()) noexcept
      : clocks_(clocks), begin_(clocks.Wall()) {
    if (clocks_.IsOldAt(begin_)) clocks_.ReadAt(begin_);
    read_before_ = clocks_.LastRead();
  }

  /// No less than the processor time so far, and no more than `ThreadClocks::SHORT` above it.
  std::chrono::nanoseconds Elapsed() noexcept {
    const auto now = clocks_.Wall();
    if (clocks_.IsOldAt(now)) {
      clocks_.ReadAt(now);
      return std::min(now - begin_, clocks_.LastRead() - read_before_);
    }
    return now - begin_;
  }

 private:
  ThreadClocks &clocks_;
  std::chrono::nanoseconds begin_;
  std::chrono::nanoseconds read_before_;
};

}  // namespace velmora::host
