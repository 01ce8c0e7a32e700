#include "ecap/current_filtering.h"

#include <chrono>
#include <iostream>
#include <libecap/common/errors.h>
#include <libecap/common/log.h>
#include <libecap/common/registry.h>
#include <libecap/host/host.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace velmora::ecap {
namespace {

constexpr std::string_view HOLDS_ON = "; the old settings hold on";

/// A line in the proxy's own log. What cannot be said is no reason to keep an answer back.
void LogToProxy(std::string_view text, std::string_view more = {}) noexcept {
  try {
    libecap::host::Host &host = libecap::MyHost();
    if (std::ostream *const log = host.openDebug(+libecap::ilCritical | +libecap::flApplication)) {
      *log << "velmora: " << text << more;
      host.closeDebug(log);
    }
  } catch (...) {
    // Nothing is left to say it to.
  }
}

}  // namespace

void CurrentFiltering::Configure(const host::FilterFiles &files) {
  try {
    if (filtering_ == nullptr) {
      filtering_ = host::StartFiltering(files);
    } else {
      Renew(files);
    }
    exceptions_ = host::ExceptionsWatch(files.policy);
  } catch (const std::exception &error) {
    Refuse(error.what());
  } catch (...) {
    Refuse("cannot be configured");
  }
  TellOfEventLog();
}

void CurrentFiltering::Refuse(const char *reason) const {
  if (filtering_ == nullptr) throw libecap::TextException(std::string("velmora: ") + reason);
  Complain(reason);
}

std::shared_ptr<const host::Filtering> CurrentFiltering::Now() noexcept {
  if (filtering_ == nullptr) return nullptr;
  TakeRenewed();
  TakeExceptions();
  TellOfEventLog();
  return filtering_;
}

void CurrentFiltering::TakeExceptions() noexcept {
  try {
    filtering_ = exceptions_.Renewed(filtering_);
  } catch (const std::exception &error) {
    try {
      Complain(error.what());
    } catch (...) {
      // What cannot be said now is no reason to keep an answer back.
    }
  }
}

void CurrentFiltering::Renew(const host::FilterFiles &files) {
  TakeRenewed();
  host::Renewal renewal(filtering_, files);
  if (renewed_.valid()) {
    next_ = std::move(renewal);
  } else {
    FinishOnThread(std::move(renewal));
  }
}

void CurrentFiltering::FinishOnThread(host::Renewal renewal) {
  renewed_ = std::async(std::launch::async, [renewal = std::move(renewal)] {
    try {
      return renewal.Finish();
    } catch (const std::exception &error) {
      // The proxy's log is for the proxy's thread, with its next answer; this one need not wait.
      if (const auto &events = renewal.Before().events) events->AddError(error.what());
      throw;
    }
  });
}

void CurrentFiltering::TakeRenewed() noexcept {
  if (!renewed_.valid()) return;
  if (renewed_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return;
  try {
    filtering_ = renewed_.get();
    // It may have been read before the last change.
    exceptions_.Forget();
  } catch (const std::exception &error) {
    LogToProxy(error.what(), HOLDS_ON);
  } catch (...) {
    LogToProxy("cannot be configured", HOLDS_ON);
  }
  if (!next_) return;
  try {
    FinishOnThread(*std::exchange(next_, std::nullopt));
  } catch (const std::exception &error) {
    Complain(error.what());
  }
}

void CurrentFiltering::Complain(const char *reason) const {
  LogToProxy(reason, HOLDS_ON);
  if (filtering_->events != nullptr) filtering_->events->AddError(reason);
}

void CurrentFiltering::TellOfEventLog() const noexcept {
  if (filtering_->events == nullptr) return;
  try {
    const std::optional<std::string> news = filtering_->events->News();
    if (news) LogToProxy(*news);
  } catch (...) {
    // What cannot be said now is no reason to keep an answer back.
  }
}

}  // namespace velmora::ecap
