#include "blocker.h"

#include "loader.h"

namespace velmora::adblock {
namespace {

bool SaysSomething(const Image &image) noexcept {
  if (image.rules.Count() > 0) return true;
  for (std::uint32_t at = 0; at < image.lists.Count(); ++at) {
    if (image.lists[at].counts.sizes > 0) return true;
  }
  return false;
}

}  // namespace

bool Blocker::Load(const Choice &choice) {
  const base::MutexLock lock(loading_);
  choice_ = choice;
  return LoadLocked();
}

bool Blocker::Reload() {
  const base::MutexLock lock(loading_);
  return LoadLocked();
}

bool Blocker::LoadOnce() {
  if (was_tried_) return false;
  const base::MutexLock lock(loading_);
  if (was_tried_) return false;
  LoadLocked();
  return true;
}

std::vector<std::string> Blocker::Problems() const {
  const base::MutexLock lock(reporting_);
  return problems_;
}

void Blocker::SetProblems(std::vector<std::string> problems) {
  const base::MutexLock lock(reporting_);
  problems_ = std::move(problems);
}

bool Blocker::LoadLocked() {
  Sources sources = ReadSources(choice_);
  std::unique_ptr<Ruleset> rules = LoadRules(sources.lists, cache_folder_).rules;
  const bool says_something = SaysSomething(rules->Compiled());
  if (says_something) {
    rules_.Replace(std::move(rules));
  } else {
    sources.problems.emplace_back("no rules in these lists");
  }
  SetProblems(std::move(sources.problems));
  was_tried_ = true;
  return says_something;
}

}  // namespace velmora::adblock
