// RequestService: what makes a transaction for each request. It takes no settings of its own: the
// service for responses beside it has them.
//
// A body that is sent in the same breath as its end makes the proxy close the connection. So the
// end is told a moment later, when the proxy lets transactions go on.
#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "ecap/velmora_service.h"

namespace velmora::ecap {

class RequestTransaction;

/// The transactions that wait for their end, in the order in which they came. One thread's.
class Waiting {
 public:
  void Add(RequestTransaction &transaction) { transactions_.push_back(&transaction); }
  void Remove(const RequestTransaction &transaction) noexcept;
  bool IsEmpty() const noexcept { return transactions_.empty(); }
  /// Lets all go on that wait now.
  void Resume();

 private:
  std::vector<RequestTransaction *> transactions_;
};

class RequestService final : public VelmoraService {
 public:
  using VelmoraService::VelmoraService;

  std::string uri() const override;
  bool makesAsyncXactions() const override { return true; }
  void configure(const libecap::Options &options) override;
  void suspend(timeval &timeout) override;
  void resume() override;
  MadeXactionPointer makeXaction(libecap::host::Xaction *host) override;

 private:
  using Clock = std::chrono::steady_clock;

  const std::shared_ptr<Waiting> waiting_ = std::make_shared<Waiting>();
  Clock::time_point next_turn_{};
};

}  // namespace velmora::ecap
