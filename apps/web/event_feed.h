// EventFeed: keeps the event log's store as new as the log, without making every page wait for it.
#pragma once

#include <atomic>
#include <chrono>
#include <string>

#include "base/mutex.h"
#include "store/feeding.h"

namespace velmora::web {

/// Any number of threads use it at once.
class EventFeed {
 public:
  /// Feeds what is new, unless that was done within the last second or is being done. Trouble stops
  /// nothing: the store has what it has.
  void Bring(const host::EventLogOptions &log) noexcept;
  /// A question came upon damage: the store is made anew the next time.
  void NoticeDamage() noexcept { is_damaged_ = true; }
  /// What was the matter the last time; empty when all went well.
  std::string Trouble() const;

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::seconds INTERVAL{1};

  std::atomic_flag is_feeding_;
  std::atomic<bool> is_damaged_ = false;
  mutable base::Mutex mutex_;
  Clock::time_point fed_ VELMORA_GUARDED_BY(mutex_){};
  std::string trouble_ VELMORA_GUARDED_BY(mutex_);
};

}  // namespace velmora::web
