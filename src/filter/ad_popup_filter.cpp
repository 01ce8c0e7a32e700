#include "filter/ad_popup_filter.h"

#include <utility>

#include "core/settings.h"
#include "core/strings.h"
#include "filter/ad_handlers.h"
#include "filter/base_handler.h"
#include "filter/popup_handlers.h"
#include "filter/popup_scripts.h"
#include "filter/script_handler.h"
#include "filter/security_policy_handler.h"

namespace velmora {
namespace {

std::string Property(IDataContext &context, std::int32_t property) {
  const char *value = context.GetProperty(property);
  return value == nullptr ? std::string() : std::string(value);
}

/// An attribute value without its quotes and the white space in them.
std::string_view UrlIn(std::string_view value) noexcept {
  return TrimSpace(StripQuotes(value));
}

}  // namespace

// The order is that in which the host is asked for properties and categories.
CAdPopupFilter::CAdPopupFilter(IDataContext &context, const AdBlocking &ads,
                               ScriptHandlerMakers makers)
    : CElementHandlerMap(context),
      ads_(ads),
      makers_(std::move(makers)),
      page_{Property(context, PROPERTY_HOST), Property(context, PROPERTY_URL)},
      page_of_link_(page_) {
  AddHandler<CAnchorAdHandler>("A");
  AddHandler<CAppletAdHandler>("APPLET");
  AddHandler<CBaseHandler>("BASE");
  AddHandler<CBodyHandler>("BODY");
  AddHandler<CEmbedHandler>("EMBED");
  AddHandler<CFormHandler>("FORM");
  AddHandler<CFramesetHandler>("FRAMESET");
  AddHandler<CHtmlHandler>("HTML");
  AddHandler<CIFrameHandler>("IFRAME");
  AddHandler<CImgHandler>("IMG");
  AddHandler<CSecurityPolicyHandler>("META");
  AddHandler<CObjectHandler>("OBJECT");
  AddHandler<CParamHandler>("PARAM");
  AddHandler<CScriptHandler>("SCRIPT");
}

template <class Handler>
void CAdPopupFilter::AddHandler(std::string_view tag_name) {
  Make<Handler>(tag_name, context(), *this);
}

void CAdPopupFilter::SetPageUrl(std::string_view url) {
  page_.SetUrl(url);
  page_of_link_.SetUrl(url);
  full_link_ = nullptr;
}

void CAdPopupFilter::SetHostName(std::string_view host) {
  page_.SetHost(host);
  page_of_link_.SetHost(host);
  full_link_ = nullptr;
}

bool CAdPopupFilter::IsAdUrl(std::string_view value, std::string &reason, bool &exempt) {
  if (value.empty()) return false;
  return ads_.CheckUrl(page_.host(), page_.MakeAbsolute(UrlIn(value)), reason, exempt) != 0;
}

bool CAdPopupFilter::IsAdKept(const CHTMLElement &element, std::string_view value) {
  const std::string_view url = UrlIn(value);
  return velmora::IsAdKept(context(), std::string(element.name()), std::string(url),
                           page_.MakeAbsolute(url));
}

bool CAdPopupFilter::IsAdToHost(const CHTMLElement &element, std::string_view value,
                                std::string &reason) {
  if (value.empty()) return false;
  const std::string_view url = UrlIn(value);
  const std::optional<std::string> answer = ReasonToRemove(
      context(), std::string(element.name()), std::string(url), page_.MakeAbsolute(url));
  if (answer) reason = *answer;
  return answer.has_value();
}

void CAdPopupFilter::TellPinned(std::string_view value) {
  const std::string_view url = UrlIn(value);
  TellPinnedScript(context(), std::string(url), page_.MakeAbsolute(url));
}

bool CAdPopupFilter::IsAdSize(std::int32_t width, std::int32_t height) const noexcept {
  return ads_.CheckSize(page_.host().c_str(), width, height);
}

void CAdPopupFilter::SetCurrentLink(std::string_view value) {
  current_link_ = value;
  full_link_ = nullptr;
}

void CAdPopupFilter::TellOfCurrentLink() {
  if (full_link_ == nullptr) full_link_ = &page_of_link_.MakeAbsolute(UrlIn(current_link_));
  // The text of links is not collected.
  if (!full_link_->empty()) ads_.CheckLink(*full_link_, page_.host(), {});
}

std::string CAdPopupFilter::TakePopupScript() {
  if (popup_script_taken_) return {};
  popup_script_taken_ = true;
  is_guard_over_ = !ScriptNonce(context());
  return BuildPopupScript(context(), script_language_);
}

std::string CAdPopupFilter::TakeSecurityPolicy(const std::string &policy) {
  const std::optional<std::string> nonce = ScriptNonce(context());
  TellSecurityPolicy(context(), policy);
  if (!IsPopupScriptTaken() || ScriptNonce(context())) return {};
  is_guard_over_ = true;
  std::string script = BuildRestoreScript(context(), nonce);
  if (!script.empty()) TellScriptLeftOut(context(), CATEGORY_POPUPS);
  return script;
}

}  // namespace velmora
