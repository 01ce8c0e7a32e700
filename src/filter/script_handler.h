// CScriptHandler: SCRIPT elements.
#pragma once

#include "filter/ad_handler.h"
#include "filter/script_language.h"

namespace velmora {

/// Puts the pop-up script before the page's first SCRIPT. At the end tag, a script with a URL
/// is checked as an advertisement; the text of any other goes through a script content handler.
class CScriptHandler final : public CAdHandler {
 public:
  CScriptHandler(IDataContext &context, CAdPopupFilter &filter)
      : CAdHandler(context, filter, SCRIPT_ADS) {}
  std::int32_t OnStartTag(CHTMLElement &element) override;
  std::int32_t OnEndTag(CHTMLElement &element) override;

 private:
  std::int32_t OnFirstScript(CHTMLElement &script);
  std::int32_t FilterText(CHTMLElement &script, ScriptLanguage language) const;

  bool first_seen_ = false;
};

}  // namespace velmora
