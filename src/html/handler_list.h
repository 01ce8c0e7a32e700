// HandlerList: a page's element handlers, in the order in which they see a start tag.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <vector>

#include "html/element_handler.h"

namespace velmora {

class HandlerList {
 public:
  void Add(std::unique_ptr<CElementHandler> handler) {
    handlers_.reserve(USUAL_HANDLERS);
    handler->AddInterest(interest_, EVERY_ELEMENT);
    handlers_.push_back(std::move(handler));
  }
  /// Adds what `make` makes. A handler for which there is no memory costs itself alone.
  template <class MakeHandler>
  void AddMade(MakeHandler make) {
    try {
      Add(make());
    } catch (const std::bad_alloc &) {
    }
  }
  void Clear() noexcept {
    handlers_.clear();
    interest_ = {};
  }
  const Interest &interest() const noexcept { return interest_; }

  /// Offers the element to every handler; at its end in reverse order. Both return the sum of the
  /// changes in length.
  std::int32_t OnStartTag(CHTMLElement &element) const {
    std::int32_t change = 0;
    for (const auto &handler : handlers_) change += handler->OnStartTag(element);
    return change;
  }
  std::int32_t OnEndTag(CHTMLElement &element) const {
    std::int32_t change = 0;
    for (auto handler = handlers_.rbegin(); handler != handlers_.rend(); ++handler) {
      change += (*handler)->OnEndTag(element);
    }
    return change;
  }

 private:
  static constexpr std::size_t USUAL_HANDLERS = 4;

  std::vector<std::unique_ptr<CElementHandler>> handlers_;
  Interest interest_;
};

/// Adds the handlers that filter a page; made by whoever puts the plug-in together.
using FilterMaker = std::function<void(IDataContext &context, HandlerList &handlers)>;

}  // namespace velmora
