#include "filter/active_content_filter.h"

#include "core/settings.h"
#include "core/strings.h"
#include "filter/element_report.h"

namespace velmora {
namespace {

/// Removes event-handler attributes from every element.
class CEventAttributeStripper final : public CElementHandler {
 public:
  CEventAttributeStripper(IDataContext &context, const EventAttributeNames &names)
      : CElementHandler(context),
        names_(names),
        is_on_(IsFeatureEnabled(context, CATEGORY_SCRIPTS)) {}

  void AddInterest(Interest &interest, std::string_view) const override {
    if (is_on_) interest.AddEverywhere(Interest::EVENT_ATTRIBUTES);
  }
  std::int32_t OnStartTag(CHTMLElement &element) override {
    if (!is_on_) return 0;
    return element.RemoveAttributesIf(
        [this](const CHTMLAttribute &attribute) { return names_.IsEventAttribute(attribute.name); },
        [&](const CHTMLAttribute &attribute) {
          std::string item(attribute.name);
          item.append(1, '=').append(attribute.value);
          ReportElement(context(), element, CATEGORY_SCRIPTS, item, {});
        });
  }

 private:
  const EventAttributeNames &names_;
  const bool is_on_;
};

/// Empties links that run a script.
class CScriptLinkStripper final : public CElementHandler {
 public:
  explicit CScriptLinkStripper(IDataContext &context)
      : CElementHandler(context), is_on_(IsFeatureEnabled(context, CATEGORY_SCRIPTS)) {}

  void AddInterest(Interest &interest, std::string_view tag_name) const override {
    if (is_on_) interest.AddTag(tag_name, Interest::SCRIPT_LINKS);
  }
  std::int32_t OnStartTag(CHTMLElement &element) override {
    if (!is_on_) return 0;
    std::string href;
    element.GetAttribute("href", href);
    // Anywhere in the value: what stands before it does not keep a browser from running it.
    if (!ContainsNoCase("javascript:", href)) return 0;
    ReportElement(context(), element, CATEGORY_SCRIPTS, href, {});
    return element.SetAttribute("href", "\"\"");
  }

 private:
  const bool is_on_;
};

void BlockWhole(IDataContext &context, std::int32_t category, CHTMLElement &element) {
  ReportElement(context, element, category, {}, {});
  element.SetFlags(ELEMENT_REMOVAL);
}

/// Removes every element that it is offered. Asks the host anew at each one.
template <std::int32_t CATEGORY>
class CElementRemover final : public CElementHandler {
 public:
  using CElementHandler::CElementHandler;

  std::int32_t OnStartTag(CHTMLElement &element) override {
    if (IsFeatureEnabled(context(), CATEGORY)) BlockWhole(context(), CATEGORY, element);
    return 0;
  }
};

using CAppletRemover = CElementRemover<CATEGORY_APPLETS>;
/// Every OBJECT counts as ActiveX, whatever it names as its class or type.
using CActiveXRemover = CElementRemover<CATEGORY_ACTIVEX>;

class CScriptRemover final : public CElementHandler {
 public:
  explicit CScriptRemover(IDataContext &context)
      : CElementHandler(context), is_on_(IsFeatureEnabled(context, CATEGORY_SCRIPTS)) {}

  std::int32_t OnStartTag(CHTMLElement &element) override {
    if (is_on_) BlockWhole(context(), CATEGORY_SCRIPTS, element);
    return 0;
  }

 private:
  const bool is_on_;
};

}  // namespace

// The order is that in which the host is asked for categories.
CActiveContentFilter::CActiveContentFilter(IDataContext &context, const EventAttributeNames &names)
    : CElementHandlerMap(context) {
  Make<CEventAttributeStripper>(EVERY_ELEMENT, context, names);
  Make<CScriptLinkStripper>("A", context);
  Make<CScriptLinkStripper>("AREA", context);
  Make<CAppletRemover>("APPLET", context);
  Make<CActiveXRemover>("OBJECT", context);
  Make<CScriptRemover>("SCRIPT", context);
}

}  // namespace velmora
