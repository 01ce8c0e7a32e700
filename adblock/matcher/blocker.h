// The lists in force in a process: loads them, answers questions, takes over new ones.
#pragma once

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "guarded.h"
#include "ruleset.h"
#include "sources.h"

namespace velmora::adblock {

/// All operations may be called by any number of threads at once. Nothing but a load waits for a
/// load: questions and reports are answered from the lists in force, before the first load with no.
/// Loads that come together run one after the other, each with its own choice.
class Blocker {
 public:
  using Rules = Guarded<Ruleset>::Reading;

  /// Compiled lists are kept in `cache_folder`; empty: nowhere.
  explicit Blocker(std::string cache_folder) : cache_folder_(std::move(cache_folder)) {}

  /// Reads the lists of `choice`. They take over as a whole. False when they say nothing: no rule
  /// and no size. Then what was in force stays so.
  bool Load(const Choice &choice);
  /// Reads the lists of the last `Load` again.
  bool Reload();
  /// Loads without a choice unless a load was tried before. Was it this call that loaded?
  bool LoadOnce();

  /// The rules in force, kept for as long as the answer lives. Keep it short.
  Rules Current() const noexcept { return Rules(rules_); }

  /// What went wrong at the last load, one line for each list.
  std::vector<std::string> Problems() const;

 private:
  bool LoadLocked() VELMORA_REQUIRES(loading_);
  void SetProblems(std::vector<std::string> problems);

  const std::string cache_folder_;
  Guarded<Ruleset> rules_;
  base::Mutex loading_;
  Choice choice_ VELMORA_GUARDED_BY(loading_);
  std::atomic<bool> was_tried_ = false;
  mutable base::Mutex reporting_;
  std::vector<std::string> problems_ VELMORA_GUARDED_BY(reporting_);
};

}  // namespace velmora::adblock
