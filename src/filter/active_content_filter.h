// CActiveContentFilter: removes scripts, applets and ActiveX controls from pages.
#pragma once

#include "filter/event_attribute_names.h"
#include "html/element_handler_map.h"

namespace velmora {

/// The handlers for categories 300 to 302.
class CActiveContentFilter final : public CElementHandlerMap {
 public:
  /// `names` must outlive the filter.
  CActiveContentFilter(IDataContext &context, const EventAttributeNames &names);
};

}  // namespace velmora
