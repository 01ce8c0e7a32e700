// CBaseHandler: follows BASE elements.
#pragma once

#include "filter/filter_element_handler.h"

namespace velmora {

/// Takes the URL of a BASE element as the page's, and its host as the page's host.
class CBaseHandler final : public CFilterElementHandler {
 public:
  using CFilterElementHandler::CFilterElementHandler;
  std::int32_t OnStartTag(CHTMLElement &element) override;

 private:
  void MovePage(std::string_view href) const;
};

}  // namespace velmora
