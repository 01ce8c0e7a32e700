#include "web/list_update.h"

#include <exception>

#include "command/answers/ad_lists.h"

namespace velmora::web {

ListUpdate::~ListUpdate() {
  std::thread thread;
  {
    const base::MutexLock lock(mutex_);
    thread = std::move(thread_);
  }
  if (thread.joinable()) thread.join();
}

void ListUpdate::Begin(host::Policy policy) {
  const base::MutexLock lock(mutex_);
  if (state_.is_running) return;
  // It has come to its end, or is about to.
  if (thread_.joinable()) thread_.join();
  state_ = {.is_running = true};
  thread_ = std::thread([this, policy = std::move(policy)] { Run(policy); });
}

ListUpdate::State ListUpdate::Now() const {
  const base::MutexLock lock(mutex_);
  return state_;
}

void ListUpdate::Run(const host::Policy &policy) noexcept {
  std::string trouble;
  try {
    command::UpdateAdLists(policy, {}, [this](const std::string &url, const std::string &result) {
      const base::MutexLock lock(mutex_);
      state_.results.emplace_back(url, result);
    });
  } catch (const std::exception &error) {
    trouble = error.what();
  }
  const base::MutexLock lock(mutex_);
  state_.trouble = std::move(trouble);
  // The last that touches the mutex, so that who joins under it waits for nothing.
  state_.is_running = false;
}

}  // namespace velmora::web
