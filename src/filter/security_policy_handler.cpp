#include "filter/security_policy_handler.h"

#include "core/strings.h"
#include "filter/ad_popup_filter.h"
#include "filter/attribute_value.h"

namespace velmora {

std::int32_t CSecurityPolicyHandler::OnStartTag(CHTMLElement &element) {
  std::string kind;
  std::string policy;
  if (!element.GetAttribute("http-equiv", kind) || !element.GetAttribute("content", policy) ||
      !EqualNoCase(TrimSpace(StripQuotes(kind)), "Content-Security-Policy")) {
    return 0;
  }
  const std::string script = filter().TakeSecurityPolicy(std::string(InnerValue(policy)));
  return script.empty() ? 0 : element.InsertText(script, INSERT_BEFORE_START);
}

}  // namespace velmora
