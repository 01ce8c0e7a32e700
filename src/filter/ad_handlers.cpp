#include "filter/ad_handlers.h"

#include <utility>

#include "core/settings.h"
#include "core/strings.h"
#include "diag/log.h"
#include "filter/ad_popup_filter.h"
#include "filter/element_report.h"
#include "filter/popup_scripts.h"

namespace velmora {
namespace {

constexpr std::string_view OBJECT_TAG = "OBJECT";

constexpr FlashRule EMBED_FLASH{"type", "application/x-shockwave-flash", &SameValue};
constexpr FlashRule OBJECT_FLASH{"classid", "D27CDB6E-AE6D-11CF-96B8-444553540000",
                                 &ContainsNoCase};

bool IsMovie(const CHTMLElement &param) {
  std::string name;
  return param.GetAttribute("name", name) && SameValue(name, "movie");
}

}  // namespace

/// With nobody to tell of a link it is only the log that tells of one that is never closed.
void CAnchorAdHandler::AddInterest(Interest &interest, std::string_view tag_name) const {
  if ((filter().HasAdLibrary() && !are_kept()) || IsLogOn()) interest.AddTag(tag_name);
}

std::int32_t CAnchorAdHandler::OnStartTag(CHTMLElement &element) {
  CAdHandler::OnStartTag(element);
  element.SetFlags(ELEMENT_NEED_END);
  filter().SetCurrentLink(element.FindAttribute("href").value_or(std::string_view()));
  return 0;
}

std::int32_t CAnchorAdHandler::OnEndTag(CHTMLElement &element) {
  if (!are_kept()) filter().TellOfCurrentLink();
  return CAdHandler::OnEndTag(element);
}

CImgHandler::CImgHandler(IDataContext &context, CAdPopupFilter &filter)
    : CAdHandler(context, filter, IMG_ADS),
      blocks_popups_(IsFeatureEnabled(context, CATEGORY_POPUPS)) {}

void CImgHandler::AddInterest(Interest &interest, std::string_view tag_name) const {
  const bool may_be_ad = (checks_urls() || checks_sizes()) && filter().HasAdLibrary();
  interest.AddTag(tag_name, Interest::DROPPED | (may_be_ad        ? Interest::EVERYTHING
                                                 : blocks_popups_ ? Interest::EVENT_ATTRIBUTES
                                                                  : Interest::NOTHING));
}

std::int32_t CImgHandler::OnStartTag(CHTMLElement &element) {
  const bool is_ad = IsAd(element);
  // An edited start tag that goes leaves as much of it behind as it has become longer.
  const bool stays_as_it_is = is_ad && filter().ProtectsPage();
  std::int32_t change = stays_as_it_is ? 0 : WrapEventHandlers(element);
  if (is_ad) change += element.Remove();
  element.SetFlags(ELEMENT_DROP);
  return change;
}

std::int32_t CImgHandler::WrapEventHandlers(CHTMLElement &element) const {
  if (!blocks_popups_) return 0;
  std::int32_t change = 0;
  for (const std::string_view event : PAGE_EVENTS) {
    std::string value;
    element.GetAttribute(event, value);
    if (value.empty() || !filter().MayWrapHandlers()) continue;
    change += element.SetAttribute(event, filter().WrapHandler(value));
  }
  return change;
}

CFlashHandler::CFlashHandler(IDataContext &context, CAdPopupFilter &filter, const AdRule &rule,
                             const FlashRule &flash)
    : CAdHandler(context, filter, rule),
      flash_(flash),
      blocks_flash_(IsFeatureEnabled(context, CATEGORY_FLASH)) {}

std::int32_t CFlashHandler::OnStartTag(CHTMLElement &element) {
  if (IsFlash(element) || IsAd(element)) element.SetFlags(ELEMENT_REMOVAL);
  return 0;
}

bool CFlashHandler::IsFlash(const CHTMLElement &element) const {
  if (!blocks_flash_) return false;
  std::string value;
  element.GetAttribute(flash_.attribute, value);
  if (!flash_.matches(flash_.signature, value)) return false;
  ReportElement(context(), element, CATEGORY_FLASH, Describe(element, flash_.attribute, value),
                QuoteValue(flash_.signature));
  return true;
}

CEmbedHandler::CEmbedHandler(IDataContext &context, CAdPopupFilter &filter)
    : CFlashHandler(context, filter, EMBED_ADS, EMBED_FLASH) {}

CObjectHandler::CObjectHandler(IDataContext &context, CAdPopupFilter &filter)
    : CFlashHandler(context, filter, OBJECT_ADS, OBJECT_FLASH) {}

std::int32_t CObjectHandler::OnStartTag(CHTMLElement &element) {
  CFlashHandler::OnStartTag(element);
  if (checks_urls()) element.SetFlags(ELEMENT_HOLD);
  return 0;
}

std::int32_t CParamHandler::OnStartTag(CHTMLElement &element) {
  CHTMLElement *const parent = element.GetParent();
  if (parent != nullptr && parent->name() == OBJECT_TAG && IsMovie(element) && IsAd(element)) {
    parent->SetFlags(ELEMENT_NEED_END | ELEMENT_REMOVE_AT_END);
  }
  element.SetFlags(ELEMENT_DROP);
  return 0;
}

std::string CParamHandler::Describe(const CHTMLElement &element, std::string_view,
                                    std::string_view value) const {
  std::string text(OBJECT_TAG);
  return text.append(1, ' ').append(element.name()).append(" movie ").append(value);
}

}  // namespace velmora
