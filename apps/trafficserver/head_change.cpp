#include "trafficserver/head_change.h"

#include <memory>
#include <utility>

namespace velmora::trafficserver {
namespace {

using Change = std::function<void(Message &)>;

int OnEvent(TSCont continuation, TSEvent event, void *data) noexcept {
  const auto transaction = static_cast<TSHttpTxn>(data);
  auto *const change = static_cast<Change *>(TSContDataGet(continuation));
  if (event == TS_EVENT_HTTP_SEND_RESPONSE_HDR) {
    try {
      Message head(transaction, TSHttpTxnClientRespGet);
      if (head) (*change)(head);
    } catch (...) {
      // What is sent by then cannot be taken back.
    }
  } else {
    delete change;
    TSContDestroy(continuation);
  }
  TSHttpTxnReenable(transaction, TS_EVENT_HTTP_CONTINUE);
  return 0;
}

}  // namespace

void ChangeHeadWhenSent(TSHttpTxn transaction, Change change) {
  auto kept = std::make_unique<Change>(std::move(change));
  const TSCont continuation = TSContCreate(OnEvent, nullptr);
  TSContDataSet(continuation, kept.release());
  TSHttpTxnHookAdd(transaction, TS_HTTP_SEND_RESPONSE_HDR_HOOK, continuation);
  TSHttpTxnHookAdd(transaction, TS_HTTP_TXN_CLOSE_HOOK, continuation);
}

}  // namespace velmora::trafficserver
