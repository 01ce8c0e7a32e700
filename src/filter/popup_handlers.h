// The handlers that disarm the event handlers of whole pages and give window.open back at their
// end.
#pragma once

#include "filter/filter_element_handler.h"

namespace velmora {

/// Wraps onload and onunload, and puts the pop-up script, which the wrapping needs, before the tag.
/// A tag without them leaves the script to the first SCRIPT element.
class CBodyHandler final : public CFilterElementHandler {
 public:
  CBodyHandler(IDataContext &context, CAdPopupFilter &filter);
  std::int32_t OnStartTag(CHTMLElement &element) override;

 private:
  const bool blocks_popups_;
};

using CFramesetHandler = CBodyHandler;

/// Puts the restoring script at the end of a page that has the pop-up script.
class CHtmlHandler final : public CFilterElementHandler {
 public:
  using CFilterElementHandler::CFilterElementHandler;
  std::int32_t OnStartTag(CHTMLElement &element) override;
  std::int32_t OnEndTag(CHTMLElement &element) override;
};

}  // namespace velmora
