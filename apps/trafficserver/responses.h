// Responses: each is decided about when its head is known, be it from its origin or from the cache,
// which keeps originals.
#pragma once

#include <memory>
#include <ts/ts.h>

#include "host/policy/filtering.h"

namespace velmora::trafficserver {

enum class Source { ORIGIN, CACHE };

/// How the transaction is to go on.
TSEvent BeginResponse(const std::shared_ptr<const host::Filtering> &filtering,
                      TSHttpTxn transaction, Source source) noexcept;

}  // namespace velmora::trafficserver
