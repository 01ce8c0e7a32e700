// CFilterElementHandler: a handler of CAdPopupFilter.
#pragma once

#include "html/element_handler.h"

namespace velmora {

class CAdPopupFilter;

/// Knows the filter that owns it, and through it the state of the page.
class CFilterElementHandler : public CElementHandler {
 public:
  CFilterElementHandler(IDataContext &context, CAdPopupFilter &filter)
      : CElementHandler(context), filter_(filter) {}

 protected:
  CAdPopupFilter &filter() const noexcept { return filter_; }

 private:
  CAdPopupFilter &filter_;
};

}  // namespace velmora
