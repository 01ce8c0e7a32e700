// The first handlers of every page: the META charset and the element dump.
#pragma once

#include <memory>

#include "html/element_handler_map.h"
#include "html/encoding_stack.h"

namespace velmora {

/// Follows a META element that names the page's charset: the encoding in force is replaced from the
/// next character on; what came before is not decoded again.
class CMetaCharsetHandler final : public CElementHandler {
 public:
  CMetaCharsetHandler(IDataContext &context, EncodingStack &encodings)
      : CElementHandler(context), encodings_(encodings) {}

  std::int32_t OnStartTag(CHTMLElement &element) override;

 private:
  void SwitchTo(const std::string &charset);

  EncodingStack &encodings_;
};

/// Writes every element to the debug log while the setting "DumpHTMLElements" is on.
class CElementDumpHandler final : public CElementHandler {
 public:
  explicit CElementDumpHandler(IDataContext &context);

  void AddInterest(Interest &interest, std::string_view tag_name) const override {
    if (is_on_) CElementHandler::AddInterest(interest, tag_name);
  }
  std::int32_t OnStartTag(CHTMLElement &element) override;

 private:
  bool is_on_;
};

/// The map of both; `encodings` must outlive it.
std::unique_ptr<CElementHandlerMap> MakeCharsetHandlerMap(IDataContext &context,
                                                          EncodingStack &encodings);

}  // namespace velmora
