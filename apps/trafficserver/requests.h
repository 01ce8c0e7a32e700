// Requests: each is judged when its head is read, and goes on or is answered here.
#pragma once

#include <ts/ts.h>

#include "host/policy/filtering.h"

namespace velmora::trafficserver {

/// How the transaction is to go on.
TSEvent JudgeRequest(const host::Filtering &filtering, TSHttpTxn transaction) noexcept;

}  // namespace velmora::trafficserver
