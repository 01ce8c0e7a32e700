// What is done to the head of an answer when it goes to the client.
#pragma once

#include <functional>
#include <ts/ts.h>

#include "trafficserver/message.h"

namespace velmora::trafficserver {

/// Kept for as long as the transaction lives. A head whose change throws goes on as it is then.
void ChangeHeadWhenSent(TSHttpTxn transaction, std::function<void(Message &)> change);

}  // namespace velmora::trafficserver
