// Attempts: how often somebody may try a password.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "base/mutex.h"

namespace velmora::web {

/// Any number of threads use it at once.
class Attempts {
 public:
  using Clock = std::chrono::steady_clock;
  /// So many failures within the time, from one network and from all, and no further attempt is
  /// looked at until the oldest of them is over.
  static constexpr std::chrono::seconds WITHIN{300};
  static constexpr std::size_t MOST = 5;
  static constexpr std::size_t MOST_OF_ALL = 50;

  /// How long this client has to wait; zero: its attempt counts as failed from now on, until
  /// `Forgive`.
  std::chrono::seconds Begin(const std::string &client, Clock::time_point now = Clock::now());
  /// The attempt was a good one.
  void Forgive(const std::string &client);

 private:
  void Sweep(Clock::time_point now) VELMORA_REQUIRES(mutex_);

  base::Mutex mutex_;
  /// By network, the oldest first.
  std::map<std::string, std::vector<Clock::time_point>> failures_ VELMORA_GUARDED_BY(mutex_);
};

}  // namespace velmora::web
