#include "host/policy/current_filtering.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "host/policy/chosen_preset.h"
#include "host/policy/fetched_lists.h"

namespace velmora::host {
namespace {

constexpr const char *HOLDS_ON = "; the old settings hold on";

/// What is wrong, of the exception that is being handled.
std::string_view Reason() noexcept {
  try {
    throw;
  } catch (const std::exception &error) {
    return error.what();
  } catch (...) {
    return "cannot be configured";
  }
}

}  // namespace

void CurrentFiltering::Configure(const FilterFiles &files) {
  const base::MutexLock lock(mutex_);
  try {
    if (filtering_ == nullptr) {
      filtering_ = StartFiltering(files);
      WarnOfTemporaryFiles();
      WarnOfSiteLists();
    } else {
      Renew(files);
    }
    files_ = files;
    Watch();
  } catch (...) {
    RefuseFor(Reason());
  }
  TellOfEventLog();
}

void CurrentFiltering::Refuse(std::string_view reason) {
  const base::MutexLock lock(mutex_);
  RefuseFor(reason);
}

void CurrentFiltering::RefuseFor(std::string_view reason) const {
  if (filtering_ == nullptr) throw std::runtime_error(std::string(reason));
  Complain(reason);
}

std::shared_ptr<const Filtering> CurrentFiltering::Now() noexcept {
  const base::MutexLock lock(mutex_);
  if (filtering_ == nullptr) return nullptr;
  try {
    TakeRenewed();
    if (exceptions_.HasChanged()) filtering_ = WithExceptions(filtering_);
    if (lists_.HasChanged() || preset_.HasChanged()) Renew(files_);
  } catch (...) {
    Complain(Reason());
  }
  TellOfEventLog();
  return filtering_;
}

void CurrentFiltering::Renew(const FilterFiles &files) {
  TakeRenewed();
  Renewal renewal(filtering_, files);
  if (renewed_.valid()) {
    next_ = std::move(renewal);
  } else {
    FinishOnThread(std::move(renewal));
  }
}

void CurrentFiltering::FinishOnThread(Renewal renewal) {
  renewed_ = std::async(std::launch::async, [renewal = std::move(renewal)] {
    try {
      return renewal.Finish();
    } catch (const std::exception &error) {
      // The proxy's log is for the proxy's threads, with the next answer; this one need not wait.
      if (const auto &events = renewal.Before().events) events->AddError(error.what());
      throw;
    }
  });
}

void CurrentFiltering::TakeRenewed() {
  if (!renewed_.valid()) return;
  if (renewed_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return;
  try {
    filtering_ = renewed_.get();
    WarnOfSiteLists();
    Watch();
  } catch (...) {
    log_(std::string(Reason()) + HOLDS_ON);
  }
  if (next_) FinishOnThread(*std::exchange(next_, std::nullopt));
}

void CurrentFiltering::Watch() {
  const Policy &policy = filtering_->policy;
  if (exceptions_.File() != policy.exceptions_file) exceptions_ = FileWatch(policy.exceptions_file);
  // They may have been read before the last change.
  exceptions_.Forget();
  const auto stamp =
      policy.list_urls.empty() ? std::filesystem::path() : FetchedListsStamp(policy.state_folder);
  if (lists_.File() != stamp) lists_ = FileWatch(stamp);
  const auto preset =
      policy.state_folder.empty() ? std::filesystem::path() : ChosenPresetFile(policy);
  if (preset_.File() != preset) preset_ = FileWatch(preset);
}

void CurrentFiltering::Complain(std::string_view reason) const noexcept {
  try {
    log_(std::string(reason) + HOLDS_ON);
    if (filtering_->events != nullptr) filtering_->events->AddError(reason);
  } catch (...) {
    // What cannot be said now is no reason to keep an answer back.
  }
}

void CurrentFiltering::Warn(const std::string &problem) const {
  log_(problem);
  if (filtering_->events != nullptr) filtering_->events->AddError(problem);
}

void CurrentFiltering::WarnOfTemporaryFiles() const noexcept {
  try {
    const std::string problem = TemporaryFilesProblem();
    if (!problem.empty()) Warn(problem);
  } catch (...) {
    // The same.
  }
}

void CurrentFiltering::WarnOfSiteLists() noexcept {
  try {
    const std::vector<std::string> &lines = filtering_->policy.left_out;
    for (const std::string &line : lines) {
      if (std::ranges::find(told_, line) == told_.end()) Warn(line);
    }
    told_ = lines;
  } catch (...) {
    // The same.
  }
}

void CurrentFiltering::TellOfEventLog() const noexcept {
  if (filtering_->events == nullptr) return;
  try {
    if (const std::optional<std::string> news = filtering_->events->News()) log_(*news);
  } catch (...) {
    // The same.
  }
}

}  // namespace velmora::host
