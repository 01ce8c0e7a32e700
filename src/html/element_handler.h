// CElementHandler: what looks at the page's elements and changes them.
#pragma once

#include <cstdint>

#include <velmora/data_context.h>

#include "base/counted_pointer.h"
#include "html/element.h"
#include "html/interest.h"

namespace velmora {

/// Stands for the tag name of a handler that is offered every element.
inline constexpr char EVERY_ELEMENT[] = "*";

/// Offered every element at its start tag, and at its end those that asked for it. Both operations
/// return the change in the page's length that they made.
class CElementHandler {
 public:
  /// Keeps a reference to the context.
  explicit CElementHandler(IDataContext &context) : context_(&context) {}
  CElementHandler(const CElementHandler &) = delete;
  CElementHandler &operator=(const CElementHandler &) = delete;
  virtual ~CElementHandler() = default;

  /// Adds the start tags at which the handler would do anything, of those that it is offered: of
  /// all with the name `tag_name`, or of `EVERY_ELEMENT`. Asked before the first. An element that
  /// nobody else is interested in need not be offered.
  virtual void AddInterest(Interest &interest, std::string_view tag_name) const {
    if (tag_name == EVERY_ELEMENT) {
      interest.AddEverywhere(Interest::EVERYTHING);
    } else {
      interest.AddTag(tag_name);
    }
  }
  virtual std::int32_t OnStartTag(CHTMLElement &) { return 0; }
  /// Removes the element when it was marked so.
  virtual std::int32_t OnEndTag(CHTMLElement &element) {
    return element.HasFlags(ELEMENT_REMOVE_AT_END) ? element.Remove() : 0;
  }

 protected:
  IDataContext &context() const noexcept { return *context_; }

 private:
  CountedPointer<IDataContext> context_;
};

}  // namespace velmora
