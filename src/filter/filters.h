// The filters of a page, for the one who builds its list of handlers.
#pragma once

#include "core/ad_blocking.h"
#include "filter/event_attribute_names.h"
#include "filter/script_handler_makers.h"
#include "html/handler_list.h"

namespace velmora {

/// Appends the filter for active content, then the one for advertisements and pop-ups. `names`
/// and `ads` must outlive them.
void AppendFilters(HandlerList &handlers, IDataContext &context, const EventAttributeNames &names,
                   const AdBlocking &ads, const ScriptHandlerMakers &makers);

}  // namespace velmora
