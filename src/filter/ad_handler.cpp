#include "filter/ad_handler.h"

#include "core/host_extensions.h"
#include "core/settings.h"
#include "core/strings.h"
#include "filter/ad_popup_filter.h"
#include "filter/element_report.h"

namespace velmora {
namespace {

/// "IMG src="banner.gif"", the value as written.
std::string NameAndAttribute(const CHTMLElement &element, std::string_view attribute,
                             std::string_view value) {
  std::string text = element.GetName();
  return text.append(1, ' ').append(attribute).append(1, '=').append(value);
}

std::int32_t NumberIn(const CHTMLElement &element, std::string_view attribute) {
  std::string value;
  return element.GetAttribute(attribute, value) ? ParseNumber(value) : 0;
}

std::optional<AdReview> WhoDecidesByUrl(IDataContext &context, const AdRule &rule) {
  if (!IsFeatureEnabled(context, CATEGORY_AD_URLS)) return std::nullopt;
  return WhoDecides(context, std::string(rule.tag));
}

}  // namespace

CAdHandler::CAdHandler(IDataContext &context, CAdPopupFilter &filter, const AdRule &rule)
    : CFilterElementHandler(context, filter),
      rule_(rule),
      checks_sizes_(rule.size_check != SizeCheck::NONE &&
                    IsFeatureEnabled(context, CATEGORY_AD_SIZES)),
      who_decides_(WhoDecidesByUrl(context, rule)) {}

std::int32_t CAdHandler::OnStartTag(CHTMLElement &element) {
  if (IsAd(element)) element.SetFlags(ELEMENT_REMOVAL);
  return 0;
}

bool CAdHandler::IsAd(const CHTMLElement &element) const {
  const Finding finding = checks_urls() ? CheckUrls(element) : Finding::NOTHING;
  if (finding != Finding::NOTHING) return finding == Finding::AD;
  return checks_sizes_ && IsAdSize(element);
}

CAdHandler::Finding CAdHandler::CheckUrls(const CHTMLElement &element) const {
  std::string description;
  std::string reason;
  bool is_ad = false;
  bool is_exempt = false;
  for (const std::string_view attribute : rule_.urls) {
    if (attribute.empty()) continue;
    const std::optional<std::string_view> found = element.FindAttribute(attribute);
    if (!found) continue;
    const std::string_view value = *found;
    // Asked also after a hit: this one may be exempt.
    const bool is_hit = who_decides_ == AD_REVIEW_HOST
                            ? filter().IsAdToHost(element, value, reason)
                            : filter().IsAdUrl(value, reason, is_exempt) &&
                                  (is_exempt || !filter().IsAdKept(element, value));
    if (is_exempt) return Finding::EXEMPT;
    if (is_hit && !is_ad) description = Describe(element, attribute, value);
    is_ad |= is_hit;
  }
  if (!is_ad) return Finding::NOTHING;
  ReportElement(context(), element, CATEGORY_AD_URLS, description, QuoteValue(reason));
  return Finding::AD;
}

bool CAdHandler::IsAdSize(const CHTMLElement &element) const {
  const std::int32_t width = NumberIn(element, "width");
  const std::int32_t height = NumberIn(element, "height");
  if (!filter().IsAdSize(width, height)) return false;
  std::string description = element.GetName();
  if (rule_.size_check == SizeCheck::NAMED_BY_TAG_AND_SRC) {
    std::string src;
    element.GetAttribute("src", src);
    description = NameAndAttribute(element, "src", src);
  }
  ReportElement(context(), element, CATEGORY_AD_SIZES, description, SizeText(width, height));
  return true;
}

std::string CAdHandler::Describe(const CHTMLElement &element, std::string_view attribute,
                                 std::string_view value) const {
  return NameAndAttribute(element, attribute, value);
}

}  // namespace velmora
