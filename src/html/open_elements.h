// OpenElements: the elements whose end tag is still to come.
#pragma once

#include <cstdint>
#include <string_view>

#include "html/element.h"
#include "html/element_stack.h"
#include "html/handler_list.h"
#include "html/page_position.h"
#include "html/tag_name.h"
#include "html/text_place.h"
#include "html/tokenizer.h"

namespace velmora {

/// Makes an element for every start tag, keeps it until its end tag and calls the handlers at both.
/// The operations return the change in the page's length that the handlers made.
class OpenElements {
 public:
  OpenElements(const PageChunk &page, const PagePosition &position, const TextPlace &place,
               const EncodingStack &encodings, const HandlerList &handlers)
      : page_(page),
        position_(position),
        place_(place),
        encodings_(encodings),
        handlers_(handlers) {}

  /// Some open element asked for the output to be held back.
  bool HoldsOutput() const noexcept { return hold_count_ != 0; }

  std::int32_t HandleStartTag(const Tag &tag);
  /// The same for a tag that no handler is interested in, of `size` bytes from the position on.
  void HandleIdleStartTag(const TagName &name, std::uint32_t size);
  /// `HandleEndTag` where it is only a matter of forgetting a few elements, or of nothing and no
  /// log; false, with nothing done, where it is more.
  bool HandleIdleEndTag(const TagName &name) noexcept;
  /// Closes the innermost element of this name and all that are open inside it.
  std::int32_t HandleEndTag(std::string_view name, std::uint32_t tag_start);
  /// The body has ended: closes everything, innermost first.
  std::int32_t CloseAll();
  /// A new call: while output is held, positions count from the new hold point.
  void Rebase() noexcept {
    if (position_.IsHeld()) elements_.SetAllBases(position_.hold_point());
  }
  void Clear() noexcept;
  std::size_t Memory() const noexcept { return elements_.Memory(); }

 private:
  /// Runs the end-tag handlers on the innermost element, whose end tag stands at the given place.
  std::int32_t RunEndHandlers(std::uint32_t end_begin, std::uint32_t end_end);

  const PageChunk &page_;
  const PagePosition &position_;
  const TextPlace &place_;
  const EncodingStack &encodings_;
  const HandlerList &handlers_;
  ElementStack elements_;
  /// Only elements that carry `ELEMENT_HOLD` and `ELEMENT_NEED_END` together are counted down.
  std::int32_t hold_count_ = 0;
};

}  // namespace velmora
