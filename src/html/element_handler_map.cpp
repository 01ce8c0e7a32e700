#include "html/element_handler_map.h"

#include <utility>

namespace velmora {

void CElementHandlerMap::Add(std::string_view tag_name, std::unique_ptr<CElementHandler> handler) {
  handlers_.insert_or_assign(std::string(tag_name), std::move(handler));
}

void CElementHandlerMap::AddInterest(Interest &interest, std::string_view) const {
  for (const auto &[tag_name, handler] : handlers_) {
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

CElementHandler *CElementHandlerMap::Find(std::string_view tag_name) const {
  const auto entry = handlers_.find(tag_name);
  return entry == handlers_.end() ? nullptr : entry->second.get();
}

}  // namespace velmora
