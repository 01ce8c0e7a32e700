// CAdHandler: checks elements for advertisements by the rule of their tag.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <velmora/ad_review.h>

#include "filter/ad_rules.h"
#include "filter/filter_element_handler.h"

namespace velmora {

/// Checks an element's URLs, then its size, each when its category is on. A URL that the
/// library expressly allows ends all checks: the element stays. An element is reported once.
class CAdHandler : public CFilterElementHandler {
 public:
  /// Asks for category 304 (when the rule checks sizes), then for 305.
  CAdHandler(IDataContext &context, CAdPopupFilter &filter, const AdRule &rule);

  /// Has an advertisement removed with all its content.
  std::int32_t OnStartTag(CHTMLElement &element) override;

 protected:
  /// Is the element an advertisement? It is reported when it is.
  bool IsAd(const CHTMLElement &element) const;
  bool checks_urls() const noexcept { return who_decides_ && !are_kept(); }
  /// Does the host keep all elements that the rule is for?
  bool are_kept() const noexcept { return who_decides_ == AD_REVIEW_NOBODY; }
  bool checks_sizes() const noexcept { return checks_sizes_; }

  /// What a report calls an item that was found by the URL in `attribute`.
  virtual std::string Describe(const CHTMLElement &element, std::string_view attribute,
                               std::string_view value) const;

 private:
  enum class Finding { NOTHING, AD, EXEMPT };

  Finding CheckUrls(const CHTMLElement &element) const;
  bool IsAdSize(const CHTMLElement &element) const;

  const AdRule &rule_;
  const bool checks_sizes_;
  /// None: nobody asks.
  const std::optional<AdReview> who_decides_;
};

/// A handler that does what the rule says and nothing else.
template <const AdRule &RULE>
class CPlainAdHandler final : public CAdHandler {
 public:
  CPlainAdHandler(IDataContext &context, CAdPopupFilter &filter)
      : CAdHandler(context, filter, RULE) {}
};

}  // namespace velmora
