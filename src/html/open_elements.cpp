#include "html/open_elements.h"

#include <algorithm>
#include <string>

#include "core/switches.h"
#include "diag/log.h"

namespace velmora {

std::int32_t OpenElements::HandleStartTag(const Tag &tag) {
  const std::uint32_t depth = elements_.Size();
  elements_.Push(
      {.base = position_.hold_point(), .start_begin = tag.start, .start_end = position_.Relative()},
      tag.name, tag.attributes.bytes());
  CHTMLElement element(page_, encodings_, elements_, depth);
  const std::int32_t change = handlers_.OnStartTag(element);
  if (element.HasFlags(ELEMENT_DROP)) {
    elements_.Pop();
    return change;
  }
  if (element.HasFlags(ELEMENT_HOLD)) ++hold_count_;
  // Nobody asks for them after the start tag unless he sees the end tag.
  if (!element.HasFlags(ELEMENT_NEED_END)) elements_.SetAttributes(depth, {});
  return change;
}

void OpenElements::HandleIdleStartTag(const TagName &name, std::uint32_t size) {
  const std::uint32_t base = position_.IsHeld() ? position_.hold_point() : position_.position();
  const std::uint32_t begin = position_.position() - base;
  elements_.Push({.base = base, .start_begin = begin, .start_end = begin + size}, name);
}

bool OpenElements::HandleIdleEndTag(const TagName &name) noexcept {
  // Elements that are never closed stand inside many others, but seldom more than a few.
  static constexpr std::uint32_t MOST_CLOSED = 4;
  const std::uint32_t size = elements_.Size();
  for (std::uint32_t closed = 1; closed <= std::min(size, MOST_CLOSED); ++closed) {
    if ((elements_.At(size - closed).flags & ELEMENT_NEED_END) != 0) break;
    if (!elements_.IsNamed(size - closed, name)) continue;
    for (; closed != 0; --closed) elements_.Pop();
    return true;
  }
  return !IsLogOn() && !elements_.Contains(name);
}

std::int32_t OpenElements::HandleEndTag(std::string_view name, std::uint32_t tag_start) {
  if (!elements_.Contains(name)) {
    if (switches::UNMATCHED_END_TAG_TRACE) {
      Log("* unmatched end tag: %s\n", std::string(name).c_str());
      Log("* row %d col %d\n", place_.row, place_.column);
    }
    return 0;
  }

  const std::uint32_t tag_end = position_.Relative();
  std::uint32_t change = 0;
  for (bool is_matched = false; !is_matched;) {
    const std::uint32_t depth = elements_.Size() - 1;
    is_matched = elements_.Name(depth) == name;
    if ((elements_.At(depth).flags & ELEMENT_NEED_END) != 0) {
      if (!is_matched && switches::UNCLOSED_ELEMENT_TRACE) {
        Log("*** UNCLOSED ELEMENT: %s\n", std::string(elements_.Name(depth)).c_str());
        Log("*** ROW %d COL %d\n", place_.row, place_.column);
      }
      const std::uint32_t end = is_matched ? tag_end : tag_start;
      change += static_cast<std::uint32_t>(RunEndHandlers(tag_start + change, end + change));
      if ((elements_.At(depth).flags & ELEMENT_HOLD) != 0) --hold_count_;
    }
    elements_.Pop();
  }
  return static_cast<std::int32_t>(change);
}

std::int32_t OpenElements::CloseAll() {
  const std::uint32_t body_end = position_.Relative();
  std::uint32_t change = 0;
  for (; elements_.Size() != 0; elements_.Pop()) {
    const std::uint32_t depth = elements_.Size() - 1;
    if ((elements_.At(depth).flags & ELEMENT_NEED_END) == 0) continue;
    if (switches::UNCLOSED_ELEMENT_TRACE) {
      Log("* unclosed element %s\n", std::string(elements_.Name(depth)).c_str());
    }
    const std::uint32_t end = body_end + change;
    change += static_cast<std::uint32_t>(RunEndHandlers(end, end));
  }
  return static_cast<std::int32_t>(change);
}

void OpenElements::Clear() noexcept {
  elements_.Clear();
  hold_count_ = 0;
}

std::int32_t OpenElements::RunEndHandlers(std::uint32_t end_begin, std::uint32_t end_end) {
  CHTMLElement element(page_, encodings_, elements_, elements_.Size() - 1);
  element.SetEndTag(end_begin, end_end);
  element.SetBase(position_.hold_point());
  return handlers_.OnEndTag(element);
}

}  // namespace velmora
