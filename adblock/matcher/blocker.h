// The lists in force in a process: loads them, answers questions, takes over new ones.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "guarded.h"
#include "ruleset.h"

namespace velmora::adblock {

/// All operations may be called by any number of threads at once. Questions never wait for a load;
/// one that is asked before the first load is answered with no.
class Blocker {
 public:
  using Rules = Guarded<Ruleset>::Reading;

  /// Compiled lists are kept in `cache_folder`; empty: nowhere.
  explicit Blocker(std::string cache_folder) : cache_folder_(std::move(cache_folder)) {}

  /// Reads the lists that the environment names, else those of `choice` (files and folders,
  /// colon-separated), else those of the system. They take over as a whole. False when there is no
  /// rule in them: then what was in force stays so.
  bool Load(const std::string &choice);
  /// Reads the lists of the last `Load` again.
  bool Reload();
  /// Loads without a choice unless a load was tried before. Was it this call that loaded?
  bool LoadOnce();

  /// The rules in force, kept for as long as the answer lives. Keep it short.
  Rules Current() const noexcept { return Rules(rules_); }

  /// What went wrong at the last load, one line for each list.
  std::vector<std::string> Problems() const;

 private:
  bool LoadLocked();

  const std::string cache_folder_;
  Guarded<Ruleset> rules_;
  /// Of loads, not of questions.
  mutable std::mutex loading_;
  bool tried_ = false;
  std::string choice_;
  std::vector<std::string> problems_;
};

}  // namespace velmora::adblock
