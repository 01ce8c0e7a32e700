#include "filter/security_policy_handler.h"

#include "core/strings.h"
#include "filter/ad_popup_filter.h"

namespace velmora {
namespace {

/// Without the quotes around it: a policy may end in quotes of its own.
std::string Inner(const std::string &value) {
  const bool is_quoted =
      value.size() >= 2 && IsQuote(value.front()) && value.back() == value.front();
  return is_quoted ? value.substr(1, value.size() - 2) : value;
}

}  // namespace

std::int32_t CSecurityPolicyHandler::OnStartTag(CHTMLElement &element) {
  std::string kind;
  std::string policy;
  if (!element.GetAttribute("http-equiv", kind) || !element.GetAttribute("content", policy) ||
      !EqualNoCase(TrimSpace(StripQuotes(kind)), "Content-Security-Policy")) {
    return 0;
  }
  const std::string script = filter().TakeSecurityPolicy(Inner(policy));
  return script.empty() ? 0 : element.InsertText(script, INSERT_BEFORE_START);
}

}  // namespace velmora
