// RequestTransaction: one request judged: it goes on as it is or with something changed, or is
// answered here.
#pragma once

#include <libecap/common/forward.h>
#include <memory>
#include <string>
#include <utility>

#include "ecap/guarded_transaction.h"
#include "host/policy/filtering.h"
#include "host/requests/blocked_answer.h"
#include "host/requests/safe_search.h"

namespace velmora::ecap {

class Waiting;

class RequestTransaction final : public GuardedTransaction {
 public:
  /// Without filtering every request goes on.
  RequestTransaction(std::shared_ptr<const host::Filtering> filtering,
                     std::shared_ptr<Waiting> waiting, libecap::host::Xaction *host)
      : GuardedTransaction(host), filtering_(std::move(filtering)), waiting_(std::move(waiting)) {}
  ~RequestTransaction() override;

  void start() override;
  void stop() override;
  void resume() override;
  void abDiscard() override;
  void abMake() override;
  void abMakeMore() override;
  void abStopMaking() override;
  libecap::Area abContent(libecap::size_type offset, libecap::size_type size) override;
  void abContentShift(libecap::size_type size) override;
  void noteVbContentDone(bool at_end) override;
  void noteVbContentAvailable() override;

  /// Has the proxy call `resume`.
  void AskForTurn() noexcept;

 private:
  void Judge();
  void Answer(host::BlockedAnswer answer);
  /// Sends it on with another head; its body, if it has one, goes by as it comes.
  void Change(const host::RequestChange &change);
  void EndIfAllIsThere();
  /// The proxy wants no more of this, or there is no more.
  void Leave() noexcept;

  const std::shared_ptr<const host::Filtering> filtering_;
  const std::shared_ptr<Waiting> waiting_;
  std::string body_;
  std::size_t taken_ = 0;
  /// Of a request that is changed: its body comes from the proxy and goes back to it.
  bool passes_body_ = false;
  bool is_sending_ = false;
  bool has_arrived_ = false;
  bool is_whole_ = true;
};

}  // namespace velmora::ecap
