// Service: what the proxy finds in this library: one object a process, with the plug-in loaded into
// it, that makes a transaction for each response. The proxy's configuration names the policy file
// and nothing else that is decided about filtering.
#pragma once

#include <future>
#include <libecap/adapter/service.h>
#include <memory>
#include <optional>

#include "host/policy/filtering.h"

namespace velmora::ecap {

class Service final : public libecap::adapter::Service {
 public:
  std::string uri() const override;
  std::string tag() const override;
  void describe(std::ostream &stream) const override;
  /// Called once more on the same object when the proxy is told to read its configuration again.
  /// The first time everything wrong is thrown, and the proxy does not start; later it is logged,
  /// and what held so far goes on to hold. Ad lists are read on a thread of their own then, so
  /// that answers do not wait for them.
  void configure(const libecap::Options &options) override;
  void reconfigure(const libecap::Options &options) override { configure(options); }
  bool wantsUrl(const char *url) const override;
  MadeXactionPointer makeXaction(libecap::host::Xaction *host) override;

 private:
  void Renew(const host::FilterFiles &files);
  /// Begins the slow half of a renewal.
  void FinishOnThread(host::Renewal renewal);
  /// What the thread has come to, if it has.
  void TakeRenewed() noexcept;
  /// Says in both logs why the proxy goes on as before.
  void Complain(const char *reason) const;
  /// Says in the proxy's log what the event log cannot say of itself.
  void TellOfEventLog() const noexcept;

  /// Null until the first `configure`.
  std::shared_ptr<const host::Filtering> filtering_;
  std::future<std::shared_ptr<const host::Filtering>> renewed_;
  /// Asked for while the thread was at work on the one before.
  std::optional<host::Renewal> next_;
};

}  // namespace velmora::ecap
