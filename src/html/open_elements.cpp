#include "html/open_elements.h"

#include <algorithm>
#include <string>
#include <utility>

#include "core/switches.h"
#include "diag/log.h"

namespace velmora {
namespace {

/// Elements that are open this deep are searched for a name one by one; those that are deeper are
/// counted by name, so that an end tag that closes nothing costs little, however many are open.
constexpr std::size_t SEARCHED_DEPTH = 256;

}  // namespace

std::int32_t OpenElements::HandleStartTag(const Tag &tag) {
  CHTMLElement *const parent = elements_.empty() ? nullptr : elements_.back().get();
  auto element =
      std::make_unique<CHTMLElement>(page_, CHTMLElement::TagSpan{tag.start, position_.Relative()},
                                     tag.name, tag.tokens, encodings_, parent);
  element->SetBase(position_.hold_point());
  const std::int32_t change = handlers_.OnStartTag(*element);
  if (element->HasFlags(ELEMENT_DROP)) return change;
  if (element->HasFlags(ELEMENT_HOLD)) ++hold_count_;
  if (elements_.size() >= SEARCHED_DEPTH) ++deep_names_[tag.name];
  elements_.push_back(std::move(element));
  return change;
}

std::int32_t OpenElements::HandleEndTag(std::string_view name, std::uint32_t tag_start) {
  if (!IsOpen(name)) {
    if (switches::UNMATCHED_END_TAG_TRACE) {
      Log("* unmatched end tag: %s\n", std::string(name).c_str());
      Log("* row %d col %d\n", place_.row, place_.column);
    }
    return 0;
  }

  const std::uint32_t tag_end = position_.Relative();
  std::uint32_t change = 0;
  for (bool is_matched = false; !is_matched;) {
    const CHTMLElement &element = *elements_.back();
    is_matched = element.name() == name;
    if (element.HasFlags(ELEMENT_NEED_END)) {
      if (!is_matched && switches::UNCLOSED_ELEMENT_TRACE) {
        Log("*** UNCLOSED ELEMENT: %s\n", element.GetName().c_str());
        Log("*** ROW %d COL %d\n", place_.row, place_.column);
      }
      const std::uint32_t end = is_matched ? tag_end : tag_start;
      change += static_cast<std::uint32_t>(RunEndHandlers(tag_start + change, end + change));
      if (element.HasFlags(ELEMENT_HOLD)) --hold_count_;
    }
    Pop();
  }
  return static_cast<std::int32_t>(change);
}

std::int32_t OpenElements::CloseAll() {
  const std::uint32_t body_end = position_.Relative();
  std::uint32_t change = 0;
  for (; !elements_.empty(); Pop()) {
    const CHTMLElement &element = *elements_.back();
    if (!element.HasFlags(ELEMENT_NEED_END)) continue;
    if (switches::UNCLOSED_ELEMENT_TRACE) {
      Log("* unclosed element %s\n", element.GetName().c_str());
    }
    const std::uint32_t end = body_end + change;
    change += static_cast<std::uint32_t>(RunEndHandlers(end, end));
  }
  return static_cast<std::int32_t>(change);
}

void OpenElements::Rebase() noexcept {
  if (!position_.IsHeld()) return;
  for (const auto &element : elements_) element->SetBase(position_.hold_point());
}

void OpenElements::Clear() noexcept {
  while (!elements_.empty()) Pop();
  deep_names_.clear();
  hold_count_ = 0;
}

bool OpenElements::IsOpen(std::string_view name) const {
  const auto deep = deep_names_.find(name);
  if (deep != deep_names_.end() && deep->second != 0) return true;
  const auto deepest_searched =
      static_cast<std::ptrdiff_t>(elements_.size() - std::min(elements_.size(), SEARCHED_DEPTH));
  return std::any_of(elements_.rbegin() + deepest_searched, elements_.rend(),
                     [name](const auto &element) { return element->name() == name; });
}

void OpenElements::Pop() noexcept {
  if (elements_.size() > SEARCHED_DEPTH) --deep_names_.find(elements_.back()->name())->second;
  elements_.pop_back();
}

std::int32_t OpenElements::RunEndHandlers(std::uint32_t end_begin, std::uint32_t end_end) {
  CHTMLElement &element = *elements_.back();
  element.SetEndTag(end_begin, end_end);
  element.SetBase(position_.hold_point());
  return handlers_.OnEndTag(element);
}

}  // namespace velmora
