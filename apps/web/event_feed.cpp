#include "web/event_feed.h"

#include <exception>

namespace velmora::web {

void EventFeed::Bring(const host::EventLogOptions &log) noexcept {
  {
    const base::MutexLock lock(mutex_);
    if (Clock::now() - fed_ < INTERVAL && !is_damaged_) return;
  }
  if (is_feeding_.test_and_set()) return;
  std::string trouble;
  try {
    const store::FedLog fed = is_damaged_.exchange(false) ? store::Rebuild(log) : store::Feed(log);
    if (!fed.troubles.empty()) trouble = fed.troubles.front();
  } catch (const std::exception &error) {
    trouble = error.what();
  }
  {
    const base::MutexLock lock(mutex_);
    fed_ = Clock::now();
    trouble_.swap(trouble);
  }
  is_feeding_.clear();
}

std::string EventFeed::Trouble() const {
  const base::MutexLock lock(mutex_);
  return trouble_;
}

}  // namespace velmora::web
