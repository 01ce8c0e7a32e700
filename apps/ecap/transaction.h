// Transaction: one response on its way through the filter.
//
// The proxy holds the body's bytes on both sides. A piece is taken from it only when all that came
// of the piece before went on, and the next slice of it is worked on only when the proxy has taken
// the one before: so a slow client slows the origin down, and no more than a piece and a slice wait
// here.
#pragma once

#include <libecap/common/area.h>
#include <libecap/common/forward.h>
#include <memory>
#include <optional>
#include <string_view>

#include "ecap/guarded_transaction.h"
#include "host/policy/filtering.h"
#include "host/responses/filtered_response.h"

namespace velmora::ecap {

class Transaction final : public GuardedTransaction {
 public:
  Transaction(std::shared_ptr<const host::Filtering> filtering, libecap::host::Xaction *host)
      : GuardedTransaction(host), filtering_(std::move(filtering)) {}

  void start() override;
  void stop() override;
  void abDiscard() override;
  void abMake() override;
  void abMakeMore() override;
  void abStopMaking() override;
  libecap::Area abContent(libecap::size_type offset, libecap::size_type size) override;
  void abContentShift(libecap::size_type size) override;
  void noteVbContentDone(bool at_end) override;
  void noteVbContentAvailable() override;

 private:
  /// How far the body on one side of the filter is.
  enum class Side { NOT_BEGUN, OPEN, CLOSED };

  void Begin();
  /// Takes in the body's beginning without sending anything on.
  void Decide();
  /// Answers in the place of a script that its page would not run when it is changed.
  void Refuse();
  /// The head with what is known of the body that goes out, and a security policy if there is one.
  libecap::shared_ptr<libecap::Message> SentHead() const;
  /// Gives the proxy what it takes, and says so when there is no more.
  void Pump();
  void GoOn();
  /// Makes the next bytes ready, if there are any.
  void Refill();
  void RefillUnfiltered();
  void TakePiece();
  void StopReceiving();
  void EndSending(bool is_whole);

  std::shared_ptr<const host::Filtering> filtering_;
  std::optional<host::FilteredResponse> response_;
  /// Null where the body goes on as it comes, under another head.
  host::ResponseFilter *filter_ = nullptr;
  Side receiving_ = Side::NOT_BEGUN;
  Side sending_ = Side::NOT_BEGUN;
  /// The proxy has all of the body, or all that it will get.
  bool has_arrived_ = false;
  bool is_broken_ = false;
  bool is_finishing_ = false;
  /// A page has pinned this script: nothing goes on before it is known whether all of it does.
  bool is_deciding_ = false;
  bool is_pumping_ = false;
  libecap::Area piece_;
  /// What came out of the filter and was not taken; lies in the filter or in the piece.
  std::string_view ready_;
};

}  // namespace velmora::ecap
