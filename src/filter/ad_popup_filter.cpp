#include "filter/ad_popup_filter.h"

#include <utility>

#include "core/strings.h"
#include "filter/absolute_url.h"
#include "filter/ad_handlers.h"
#include "filter/base_handler.h"
#include "filter/popup_handlers.h"
#include "filter/popup_scripts.h"
#include "filter/script_handler.h"

namespace velmora {
namespace {

std::string Property(IDataContext &context, std::int32_t property) {
  const char *value = context.GetProperty(property);
  return value == nullptr ? std::string() : std::string(value);
}

}  // namespace

// The order is that in which the host is asked for categories.
CAdPopupFilter::CAdPopupFilter(IDataContext &context, const AdBlocking &ads,
                               ScriptHandlerMakers makers)
    : CElementHandlerMap(context),
      ads_(ads),
      makers_(std::move(makers)),
      host_name_(Property(context, PROPERTY_HOST)),
      page_url_(Property(context, PROPERTY_URL)) {
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
  AddHandler<CObjectHandler>("OBJECT");
  AddHandler<CParamHandler>("PARAM");
  AddHandler<CScriptHandler>("SCRIPT");
}

template <class Handler>
void CAdPopupFilter::AddHandler(std::string_view tag_name) {
  Add(tag_name, std::make_unique<Handler>(context(), *this));
}

std::string CAdPopupFilter::ResolveValue(std::string_view value) const {
  return MakeAbsoluteUrl(host_name_, page_url_, TrimSpace(StripQuotes(value)));
}

bool CAdPopupFilter::IsAdUrl(std::string_view value, std::string &reason, bool &exempt) const {
  if (value.empty()) return false;
  return ads_.CheckUrl(host_name_, ResolveValue(value), reason, exempt) != 0;
}

bool CAdPopupFilter::IsAdSize(std::int32_t width, std::int32_t height) const noexcept {
  return ads_.CheckSize(host_name_.c_str(), width, height);
}

void CAdPopupFilter::TellOfLink(std::string_view value) const {
  const std::string link = ResolveValue(value);
  // The text of links is not collected.
  if (!link.empty()) ads_.CheckLink(link, host_name_, {});
}

std::string CAdPopupFilter::TakePopupScript() {
  if (popup_script_taken_) return {};
  popup_script_taken_ = true;
  return BuildPopupScript(context(), script_language_);
}

}  // namespace velmora
