// CElementHandlerMap: dispatches elements to handlers by tag name.
#pragma once

#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "html/element_handler.h"
#include "html/tag_name.h"

namespace velmora {

/// Owns its handlers. At a start tag the handler of every element comes before that of the name, at
/// an end tag after it. A missing entry, or one whose handler is null, counts as nothing done.
class CElementHandlerMap : public CElementHandler {
 public:
  using CElementHandler::CElementHandler;

  /// `tag_name` is upper case or `EVERY_ELEMENT`, no longer than `TagName::LONGEST`. Of two
  /// handlers of one name the later one is kept.
  void Add(std::string_view tag_name, std::unique_ptr<CElementHandler> handler);
  /// Makes the handler too. One for which there is no memory costs itself alone.
  template <class Handler, class... Arguments>
  void Make(std::string_view tag_name, Arguments &&...arguments) {
    try {
      Add(tag_name, std::make_unique<Handler>(std::forward<Arguments>(arguments)...));
    } catch (const std::bad_alloc &) {
    }
  }

  void AddInterest(Interest &interest, std::string_view tag_name) const override;
  std::int32_t OnStartTag(CHTMLElement &element) override;
  std::int32_t OnEndTag(CHTMLElement &element) override;

 private:
  struct Entry {
    TagName tag_name;
    std::unique_ptr<CElementHandler> handler;
  };
  /// Made for every page, with so many entries at most: looked through faster than looked up.
  static constexpr std::size_t USUAL_ENTRIES = 16;

  CElementHandler *Find(const TagName &tag_name) const noexcept;

  std::vector<Entry> entries_;
  /// Of `EVERY_ELEMENT`, one of those.
  CElementHandler *every_ = nullptr;
};

}  // namespace velmora
