// CurrentFiltering: what is in force in this process, for both services, and how it is renewed.
#pragma once

#include <future>
#include <memory>
#include <optional>

#include "host/policy/filtering.h"

namespace velmora::ecap {

/// One thread's, the proxy's.
class CurrentFiltering {
 public:
  /// The first time everything wrong is thrown, as `libecap::TextException`; later it is logged,
  /// and what held so far goes on to hold. Ad lists are read on a thread of their own then, so that
  /// answers do not wait for them.
  void Configure(const host::FilterFiles &files);
  /// A configuration that cannot be read: the same, with this as the reason.
  void Refuse(const char *reason) const;
  /// What a transaction that begins now works with; null before the first `Configure`. Says in the
  /// proxy's log what there is to say.
  std::shared_ptr<const host::Filtering> Now() noexcept;

 private:
  void Renew(const host::FilterFiles &files);
  /// Begins the slow half of a renewal.
  void FinishOnThread(host::Renewal renewal);
  /// What the thread has come to, if it has.
  void TakeRenewed() noexcept;
  /// What somebody allowed or took back meanwhile.
  void TakeExceptions() noexcept;
  /// Says in both logs why the proxy goes on as before.
  void Complain(const char *reason) const;
  /// Says in the proxy's log what the event log cannot say of itself.
  void TellOfEventLog() const noexcept;

  std::shared_ptr<const host::Filtering> filtering_;
  host::ExceptionsWatch exceptions_;
  std::future<std::shared_ptr<const host::Filtering>> renewed_;
  /// Asked for while the thread was at work on the one before.
  std::optional<host::Renewal> next_;
};

}  // namespace velmora::ecap
