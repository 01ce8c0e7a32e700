#include "blocker.h"

#include "loader.h"
#include "sources.h"

namespace velmora::adblock {

bool Blocker::Load(const std::string &choice) {
  const std::lock_guard lock(loading_);
  choice_ = choice;
  return LoadLocked();
}

bool Blocker::Reload() {
  const std::lock_guard lock(loading_);
  return LoadLocked();
}

bool Blocker::LoadOnce() {
  const std::lock_guard lock(loading_);
  if (tried_) return false;
  LoadLocked();
  return true;
}

std::vector<std::string> Blocker::Problems() const {
  const std::lock_guard lock(loading_);
  return problems_;
}

bool Blocker::LoadLocked() {
  tried_ = true;
  Sources sources = ReadSources(choice_);
  problems_ = std::move(sources.problems);
  std::unique_ptr<Ruleset> rules = LoadRules(sources.lists, cache_folder_).rules;
  if (rules->Compiled().rules.Count() == 0) {
    problems_.push_back("no rules in these lists");
    return false;
  }
  rules_.Replace(std::move(rules));
  return true;
}

}  // namespace velmora::adblock
