#include "filter/popup_handlers.h"

#include "core/settings.h"
#include "filter/ad_popup_filter.h"
#include "filter/popup_scripts.h"

namespace velmora {

CBodyHandler::CBodyHandler(IDataContext &context, CAdPopupFilter &filter)
    : CFilterElementHandler(context, filter),
      blocks_popups_(IsFeatureEnabled(context, CATEGORY_POPUPS)) {}

std::int32_t CBodyHandler::OnStartTag(CHTMLElement &element) {
  std::int32_t change = 0;
  bool has_event_handler = false;
  for (const std::string_view event : PAGE_EVENTS) {
    std::string value;
    if (!element.GetAttribute(event, value)) continue;
    has_event_handler = true;
    if (blocks_popups_ && filter().MayWrapHandlers()) {
      change += element.SetAttribute(event, filter().WrapHandler(value));
    }
  }
  if (!has_event_handler) return change;
  const std::string script = filter().TakePopupScript();
  if (!script.empty()) change += element.InsertText(script, INSERT_BEFORE_START);
  return change;
}

std::int32_t CHtmlHandler::OnStartTag(CHTMLElement &element) {
  element.SetFlags(ELEMENT_NEED_END);
  return 0;
}

std::int32_t CHtmlHandler::OnEndTag(CHTMLElement &element) {
  if (!filter().IsPopupScriptTaken()) return 0;
  const std::string script = BuildRestoreScript(context());
  return script.empty() ? 0 : element.InsertText(script, INSERT_BEFORE_END);
}

}  // namespace velmora
