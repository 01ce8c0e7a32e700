// Sessions: who has logged in, until then or for so long as they come by.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <string_view>

#include "base/mutex.h"
#include "web/role.h"

namespace velmora::web {

struct Session {
  Role role = Role::NOBODY;
  /// Stands in every form of the session, so that no other site can send one.
  std::string form_word{};
};

/// In memory alone: who restarts the service logs everybody out. Any number of threads use it at
/// once.
class Sessions {
 public:
  using Clock = std::chrono::steady_clock;
  /// Of one that nobody uses.
  static constexpr std::chrono::hours LIFETIME{12};
  static constexpr std::size_t MOST = 100;

  /// The word by which the browser is known from now on; when there are too many, the one that was
  /// used least lately ends.
  std::string Begin(Role role, Clock::time_point now = Clock::now());
  /// Of role `NOBODY` for a word that stands for none.
  Session Of(std::string_view word, Clock::time_point now = Clock::now());
  void End(std::string_view word);

 private:
  struct Known {
    Session session{};
    Clock::time_point used{};
  };

  base::Mutex mutex_;
  std::map<std::string, Known, std::less<>> known_ VELMORA_GUARDED_BY(mutex_);
};

}  // namespace velmora::web
