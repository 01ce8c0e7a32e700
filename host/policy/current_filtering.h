// CurrentFiltering: what is in force in this process, and how it is renewed.
#pragma once

#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/mutex.h"
#include "host/policy/file_watch.h"
#include "host/policy/filtering.h"

namespace velmora::host {

/// Takes a line for the proxy's own log. Not called by a thread that the proxy does not know.
using ProxyLog = std::function<void(std::string_view line)>;

/// Any number of the proxy's threads use it at once.
class CurrentFiltering {
 public:
  explicit CurrentFiltering(ProxyLog log) : log_(std::move(log)) {}

  /// The first time everything wrong is thrown, as `std::runtime_error`; later it is logged, and
  /// what held so far goes on to hold. Ad lists are read on a thread of their own then, so that
  /// answers do not wait for them.
  void Configure(const FilterFiles &files);
  /// A configuration that cannot be read: the same, with this as the reason.
  void Refuse(std::string_view reason);
  /// What a transaction that begins now works with; null before the first `Configure`. Says in the
  /// proxy's log what there is to say.
  std::shared_ptr<const Filtering> Now() noexcept;

 private:
  void Renew(const FilterFiles &files) VELMORA_REQUIRES(mutex_);
  /// Begins the slow half of a renewal.
  void FinishOnThread(Renewal renewal) VELMORA_REQUIRES(mutex_);
  /// What the thread has come to, if it has.
  void TakeRenewed() VELMORA_REQUIRES(mutex_);
  void Watch() VELMORA_REQUIRES(mutex_);
  /// Says in both logs why the proxy goes on as before.
  void Complain(std::string_view reason) const noexcept VELMORA_REQUIRES(mutex_);
  void RefuseFor(std::string_view reason) const VELMORA_REQUIRES(mutex_);
  /// Says in both logs what is wrong and keeps nothing from going on.
  void Warn(const std::string &problem) const VELMORA_REQUIRES(mutex_);
  void WarnOfTemporaryFiles() const noexcept VELMORA_REQUIRES(mutex_);
  /// Of what was not wrong before.
  void WarnOfSiteLists() noexcept VELMORA_REQUIRES(mutex_);
  /// Says in the proxy's log what the event log cannot say of itself.
  void TellOfEventLog() const noexcept VELMORA_REQUIRES(mutex_);

  const ProxyLog log_;
  base::Mutex mutex_;
  std::shared_ptr<const Filtering> filtering_ VELMORA_GUARDED_BY(mutex_);
  /// What is wrong with site lists, as far as it was said.
  std::vector<std::string> told_ VELMORA_GUARDED_BY(mutex_);
  /// What it was configured from.
  FilterFiles files_ VELMORA_GUARDED_BY(mutex_);
  /// What somebody allowed or took back meanwhile, whether lists were fetched or a preset was
  /// chosen.
  FileWatch exceptions_ VELMORA_GUARDED_BY(mutex_);
  FileWatch lists_ VELMORA_GUARDED_BY(mutex_);
  FileWatch preset_ VELMORA_GUARDED_BY(mutex_);
  std::future<std::shared_ptr<const Filtering>> renewed_ VELMORA_GUARDED_BY(mutex_);
  /// Asked for while the thread was at work on the one before.
  std::optional<Renewal> next_ VELMORA_GUARDED_BY(mutex_);
};

}  // namespace velmora::host
