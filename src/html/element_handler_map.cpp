#include "html/element_handler_map.h"

#include <utility>

namespace velmora {

void CElementHandlerMap::Add(std::string_view tag_name, std::unique_ptr<CElementHandler> handler) {
  for (Entry &entry : entries_) {
    if (entry.tag_name == tag_name) {
      entry.handler = std::move(handler);
      return;
    }
  }
  entries_.reserve(USUAL_ENTRIES);
  entries_.push_back({tag_name, std::move(handler)});
}

void CElementHandlerMap::AddInterest(Interest &interest, std::string_view) const {
  for (const auto &[tag_name, handler] : entries_) {
    if (handler != nullptr) handler->AddInterest(interest, tag_name);
  }
}

std::int32_t CElementHandlerMap::OnStartTag(CHTMLElement &element) {
  std::int32_t change = 0;
  if (CElementHandler *handler = Find(EVERY_ELEMENT)) change += handler->OnStartTag(element);
  if (CElementHandler *handler = Find(element.name())) change += handler->OnStartTag(element);
  return change;
}

std::int32_t CElementHandlerMap::OnEndTag(CHTMLElement &element) {
  std::int32_t change = 0;
  if (CElementHandler *handler = Find(element.name())) change += handler->OnEndTag(element);
  if (CElementHandler *handler = Find(EVERY_ELEMENT)) change += handler->OnEndTag(element);
  return change;
}

CElementHandler *CElementHandlerMap::Find(std::string_view tag_name) const noexcept {
  for (const Entry &entry : entries_) {
    if (entry.tag_name == tag_name) return entry.handler.get();
  }
  return nullptr;
}

}  // namespace velmora
