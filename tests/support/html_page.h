// Runs a page through the HTML handler, whole or in pieces.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/counted_pointer.h"
#include "html/data_html2.h"
#include "support/fake_host.h"

namespace velmora::testing {

/// The page in two pieces, cut before byte `cut`; in one when that is 0.
inline std::vector<std::string_view> CutAt(std::string_view page, std::size_t cut) {
  if (cut == 0) return {page};
  return {page.substr(0, cut), page.substr(cut)};
}

/// What comes out of the handler for `page` given in `pieces`.
inline std::string RunPage(FakeContext &context, const std::vector<std::string_view> &pieces,
                           FilterMaker make_filters = {}) {
  const CountedPointer<IDataProcessor> handler(new CDataHTML2(std::move(make_filters)));
  handler->SetContext(&context);
  return Feed(*handler, pieces);
}

/// An element handler made of two functions; either may be missing.
class ScriptedHandler final : public CElementHandler {
 public:
  using Action = std::function<std::int32_t(CHTMLElement &)>;

  ScriptedHandler(IDataContext &context, Action on_start, Action on_end = {})
      : CElementHandler(context), on_start_(std::move(on_start)), on_end_(std::move(on_end)) {}

  std::int32_t OnStartTag(CHTMLElement &element) override {
    return on_start_ ? on_start_(element) : 0;
  }
  std::int32_t OnEndTag(CHTMLElement &element) override {
    return on_end_ ? on_end_(element) : CElementHandler::OnEndTag(element);
  }

 private:
  Action on_start_;
  Action on_end_;
};

/// A list of one scripted handler.
inline FilterMaker Filter(ScriptedHandler::Action on_start, ScriptedHandler::Action on_end = {}) {
  return [on_start = std::move(on_start), on_end = std::move(on_end)](IDataContext &context,
                                                                      HandlerList &handlers) {
    handlers.Add(std::make_unique<ScriptedHandler>(context, on_start, on_end));
  };
}

}  // namespace velmora::testing
