// What all transactions are to the proxy: nothing that they throw reaches it, and it is not called
// again after the last call.
#pragma once

#include <libecap/adapter/xaction.h>
#include <libecap/common/area.h>
#include <libecap/host/xaction.h>
#include <utility>

namespace velmora::ecap {

/// The proxy's calls may throw, and an exception that leaves a transaction costs the answer or the
/// process: every function that it calls and that may throw goes through `Guarded`.
class GuardedTransaction : public libecap::adapter::Xaction {
 public:
  explicit GuardedTransaction(libecap::host::Xaction *host) noexcept : host_(host) {}

  const libecap::Area option(const libecap::Name &) const override { return {}; }
  void visitEachOption(libecap::NamedValueVisitor &) const override {}

 protected:
  /// Calls `action` unless the transaction is over; what it throws ends the transaction.
  template <class Action>
  void Guarded(Action action) noexcept {
    if (host_ == nullptr) return;
    try {
      action();
    } catch (...) {
      try {
        LastCall(&libecap::host::Xaction::adaptationAborted);
      } catch (...) {
        // The proxy does not even take that: there is nothing left to say.
      }
    }
  }

  /// The call may destroy this object.
  template <class Function, class... Arguments>
  void LastCall(Function function, const Arguments &...arguments) {
    if (auto *const host = std::exchange(host_, nullptr)) (host->*function)(arguments...);
  }

  /// Null when the transaction is over.
  libecap::host::Xaction *host_;
};

}  // namespace velmora::ecap
