// The page that stands in the place of one that is blocked.
#pragma once

#include <string>

#include "host/requests/request_head.h"

namespace velmora::host {

struct BlockedReason;

/// HTML in UTF-8, in English or German as the browser asks for it. No script, no outside resources.
std::string BlockPage(const RequestHead &request, const BlockedReason &reason);

}  // namespace velmora::host
