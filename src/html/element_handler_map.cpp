#include "html/element_handler_map.h"

#include <algorithm>
#include <utility>

namespace velmora {

void CElementHandlerMap::Add(std::string_view tag_name, std::unique_ptr<CElementHandler> handler) {
  CElementHandler *const added = handler.get();
  const auto same = std::ranges::find(entries_, TagName(tag_name), &Entry::tag_name);
  if (same != entries_.end()) {
    same->handler = std::move(handler);
  } else {
    entries_.reserve(USUAL_ENTRIES);
    entries_.push_back({TagName(tag_name), std::move(handler)});
  }
  if (tag_name == EVERY_ELEMENT) every_ = added;
}

void CElementHandlerMap::AddInterest(Interest &interest, std::string_view) const {
  for (const Entry &entry : entries_) {
    if (entry.handler != nullptr) entry.handler->AddInterest(interest, entry.tag_name.text());
  }
}

std::int32_t CElementHandlerMap::OnStartTag(CHTMLElement &element) {
  std::int32_t change = 0;
  if (every_ != nullptr) change += every_->OnStartTag(element);
  if (CElementHandler *handler = Find(element.short_name())) change += handler->OnStartTag(element);
  return change;
}

std::int32_t CElementHandlerMap::OnEndTag(CHTMLElement &element) {
  std::int32_t change = 0;
  if (CElementHandler *handler = Find(element.short_name())) change += handler->OnEndTag(element);
  if (every_ != nullptr) change += every_->OnEndTag(element);
  return change;
}

CElementHandler *CElementHandlerMap::Find(const TagName &tag_name) const noexcept {
  for (const Entry &entry : entries_) {
    if (entry.tag_name == tag_name) return entry.handler.get();
  }
  return nullptr;
}

}  // namespace velmora
