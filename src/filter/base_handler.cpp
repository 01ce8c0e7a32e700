#include "filter/base_handler.h"

#include "core/strings.h"
#include "diag/log.h"
#include "filter/ad_popup_filter.h"
#include "platform/url_host.h"

namespace velmora {

std::int32_t CBaseHandler::OnStartTag(CHTMLElement &element) {
  std::string href;
  std::string target;
  element.GetAttribute("href", href);
  element.GetAttribute("target", target);
  Log("BASE: href=%s target=%s\n", href.c_str(), target.c_str());
  if (!href.empty()) MovePage(TrimSpace(StripQuotes(href)));
  element.SetFlags(ELEMENT_DROP);
  return 0;
}

void CBaseHandler::MovePage(std::string_view href) const {
  filter().SetPageUrl(href);
  // A relative URL has no host: the page's stays.
  if (const auto host = platform::UrlHost(href)) {
    const std::string domain(*host);
    filter().SetHostName(domain);
    Log("BASE: new domain: %s\n", domain.c_str());
  }
}

}  // namespace velmora
