// ListUpdate: fetches ad lists while people look at other pages.
#pragma once

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "host/policy/policy.h"

namespace velmora::web {

/// Any number of threads use it at once.
class ListUpdate {
 public:
  struct State {
    bool is_running = false;
    /// URLs and what became of them, so far.
    std::vector<std::pair<std::string, std::string>> results{};
    /// Why it could not be done.
    std::string trouble{};
  };

  ListUpdate() = default;
  ListUpdate(const ListUpdate &) = delete;
  ListUpdate &operator=(const ListUpdate &) = delete;
  /// Waits for its end.
  ~ListUpdate();

  /// Begins one, unless one is under way.
  void Begin(host::Policy policy);
  State Now() const;

 private:
  void Run(const host::Policy &policy) noexcept;

  mutable base::Mutex mutex_;
  State state_ VELMORA_GUARDED_BY(mutex_);
  std::thread thread_ VELMORA_GUARDED_BY(mutex_);
};

}  // namespace velmora::web
