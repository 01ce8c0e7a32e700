// CElementHandler: what looks at the page's elements and changes them.
#pragma once

#include <cstdint>

#include <velmora/data_context.h>

#include "core/counted_pointer.h"
#include "html/element.h"

namespace velmora {

/// Offered every element at its start tag, and at its end those that asked for it. Both operations
/// return the change in the page's length that they made.
class CElementHandler {
 public:
  /// Keeps a reference to the context.
  explicit CElementHandler(IDataContext &context) : context_(&context) {}
  CElementHandler(const CElementHandler &) = delete;
  CElementHandler &operator=(const CElementHandler &) = delete;
  virtual ~CElementHandler() = default;

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
