#include "filter/filters.h"

#include "filter/active_content_filter.h"
#include "filter/ad_popup_filter.h"

namespace velmora {

void AppendFilters(HandlerList &handlers, IDataContext &context, const EventAttributeNames &names,
                   const AdBlocking &ads, const ScriptHandlerMakers &makers) {
  handlers.AddMade([&] { return std::make_unique<CActiveContentFilter>(context, names); });
  handlers.AddMade([&] { return std::make_unique<CAdPopupFilter>(context, ads, makers); });
}

}  // namespace velmora
