#include "html/element.h"

#include <utility>

#include "core/strings.h"
#include "diag/log.h"

namespace velmora {
namespace {

/// Moves a position, with wrap-around; an unknown one stays unknown.
void ShiftKnown(std::uint32_t &position, std::int32_t change) noexcept {
  if (position != UNKNOWN) position += static_cast<std::uint32_t>(change);
}

/// Moves a position, an unknown one too: whoever reads it later sets it before.
void ShiftAny(std::uint32_t &position, std::int32_t change) noexcept {
  position += static_cast<std::uint32_t>(change);
}

}  // namespace

/// Those around it go one by one: there may be too many for each to destroy the next.
CHTMLElement::~CHTMLElement() {
  while (parent_ != nullptr) parent_ = std::move(parent_->parent_);
}

CHTMLElement *CHTMLElement::GetParent() const {
  if (parent_ == nullptr && depth_ != 0) {
    parent_ = std::make_unique<CHTMLElement>(page_, encodings_, stack_, depth_ - 1);
  }
  return parent_.get();
}

std::uint32_t CHTMLElement::GetAttributeCount() const noexcept {
  std::uint32_t count = 0;
  AttributeReader reader = Attributes();
  for (CHTMLAttribute attribute; reader.Next(attribute);) ++count;
  return count;
}

bool CHTMLElement::GetAttributeAt(std::uint32_t index, std::string &name,
                                  std::string &value) const {
  return HasAttributeThat([&](const CHTMLAttribute &attribute) {
    if (index-- != 0) return false;
    name = attribute.name;
    value = attribute.value;
    return true;
  });
}

bool CHTMLElement::GetAttribute(std::string_view name, std::string &value) const {
  const std::optional<std::string_view> found = FindAttribute(name);
  if (found) value = *found;
  return found.has_value();
}

std::int32_t CHTMLElement::SetAttribute(std::string_view name, std::string_view value) {
  const auto is_set = [name](const CHTMLAttribute &attribute) {
    return attribute.HasValue() && EqualNoCase(attribute.name, name);
  };
  if (!HasAttributeThat(is_set)) return 0;
  EditRun edits(page_);
  std::int32_t last_change = 0;
  RewriteAttributes([&](CHTMLAttribute &attribute) {
    if (!is_set(attribute)) {
      attribute.Shift(last_change);
      return true;
    }
    // Encoded anew for each: a converter with shift states may answer differently.
    const std::string encoded = Encode(value);
    last_change =
        edits.Replace(BufferIndex(attribute.value_start), attribute.value_length, encoded);
    attribute.value = value;
    attribute.value_length = static_cast<std::uint32_t>(encoded.size());
    return true;
  });
  edits.Finish();
  growth_ += edits.TakeGrowth();
  ShiftEndTag(last_change);
  return last_change;
}

std::int32_t CHTMLElement::RemoveAttributeAt(std::uint32_t index) {
  std::uint32_t place = 0;
  std::int32_t change = 0;
  if (index >= GetAttributeCount()) return 0;
  EditRun edits(page_);
  RewriteAttributes([&](CHTMLAttribute &attribute) {
    if (place++ == index) {
      change = Delete(attribute, edits);
      return false;
    }
    attribute.Shift(change);
    return true;
  });
  edits.Finish();
  growth_ += edits.TakeGrowth();
  ShiftEndTag(change);
  return change;
}

std::int32_t CHTMLElement::RemoveAttribute(std::string_view name) {
  const auto is_removed = [name](const CHTMLAttribute &attribute) {
    return EqualNoCase(attribute.name, name);
  };
  if (!HasAttributeThat(is_removed)) return 0;
  EditRun edits(page_);
  std::int32_t last_change = 0;
  RewriteAttributes([&](CHTMLAttribute &attribute) {
    if (is_removed(attribute)) {
      last_change = Delete(attribute, edits);
      return false;
    }
    attribute.Shift(last_change);
    return true;
  });
  edits.Finish();
  growth_ += edits.TakeGrowth();
  ShiftEndTag(last_change);
  return last_change;
}

std::int32_t CHTMLElement::FilterContent(IDataProcessor *handler) {
  IDataBuffer &buffer = page_.buffer();
  const std::uint32_t begin = Base() + Place().start_end;
  const std::uint32_t length = end_begin_ - Place().start_end;
  const std::uint32_t size_before = buffer.GetSize();
  const bool is_inside = static_cast<std::int32_t>(length) >= 0 && page_.Contains(begin, length);
  if (handler != nullptr && is_inside) {
    handler->ProcessData(&buffer, begin, length, DATA_FLAG_START | DATA_FLAG_END);
    page_.NoteEdit();
  }
  const std::uint32_t size_after = buffer.GetSize();
  buffer.SetCommitted(size_after);
  const auto change = static_cast<std::int32_t>(size_after - size_before);
  ShiftAny(end_begin_, change);
  ShiftAny(end_end_, change);
  return change;
}

std::int32_t CHTMLElement::InsertText(std::string_view text, std::uint32_t where) {
  OpenElement &place = Place();
  std::uint32_t *const positions[] = {&place.start_begin, &place.start_end, &end_begin_, &end_end_};
  if (where > INSERT_AFTER_END) return 0;
  const std::string encoded = Encode(text);
  const std::uint32_t index = Base() + *positions[where];
  if (index == UNKNOWN) return 0;

  const std::int32_t inserted = page_.Replace(index, 0, encoded);
  if (where == INSERT_BEFORE_START) {
    ShiftAny(place.start_begin, inserted);
    ShiftAny(place.start_end, inserted);
  }
  if (where != INSERT_AFTER_END) {
    ShiftAny(end_begin_, inserted);
    ShiftAny(end_end_, inserted);
  }
  return inserted;
}

std::int32_t CHTMLElement::InsertBefore(std::uint32_t depth, std::string_view text) {
  if (depth == depth_) return InsertText(text, INSERT_BEFORE_START);
  const std::int32_t inserted =
      CHTMLElement(page_, encodings_, stack_, depth).InsertText(text, INSERT_BEFORE_START);
  for (++depth; depth <= depth_; ++depth) {
    CHTMLElement(page_, encodings_, stack_, depth).Shift(inserted);
  }
  ShiftEndTag(inserted);
  return inserted;
}

std::int32_t CHTMLElement::Remove() {
  OpenElement &place = Place();
  const std::uint32_t end = end_end_ == UNKNOWN ? place.start_end : end_end_;
  const std::uint32_t length = end - place.start_begin;
  if (static_cast<std::int32_t>(length) < 1) return static_cast<std::int32_t>(0 - length);
  const std::int32_t change = page_.Replace(Base() + place.start_begin, length, {});
  stack_.SetAttributes(depth_, {});
  place.start_begin = place.start_end = end_begin_ = end_end_ = UNKNOWN;
  return change;
}

void CHTMLElement::SetEndTag(std::uint32_t begin, std::uint32_t end) noexcept {
  end_begin_ = begin;
  end_end_ = end;
}

void CHTMLElement::Shift(std::int32_t change) noexcept {
  ShiftKnown(Place().start_begin, change);
  ShiftKnown(Place().start_end, change);
  ShiftEndTag(change);
}

void CHTMLElement::Dump() const {
  std::string line("ELEMENT: ");
  line.append(name());
  AttributeReader reader = Attributes();
  for (CHTMLAttribute attribute; reader.Next(attribute);) {
    line.append(1, ' ').append(attribute.name);
    if (!attribute.value.empty()) line.append(1, '=').append(attribute.value);
  }
  Log("%s\n", line.c_str());
}

std::string CHTMLElement::Encode(std::string_view text) const {
  return encodings_.IsEmpty() ? std::string() : encodings_.Top().Encode(text);
}

std::uint32_t CHTMLElement::BufferIndex(std::uint32_t span_start) const noexcept {
  return Base() + Place().start_begin + span_start;
}

/// From the attribute's name to its value's end; an attribute without a value is its name alone.
std::int32_t CHTMLElement::Delete(const CHTMLAttribute &attribute, EditRun &edits) const {
  const std::uint32_t length =
      attribute.HasValue() ? attribute.value_start + attribute.value_length - attribute.name_start
                           : attribute.name_length;
  return edits.Replace(BufferIndex(attribute.name_start), length, {});
}

void CHTMLElement::ShiftEndTag(std::int32_t change) noexcept {
  ShiftKnown(end_begin_, change);
  ShiftKnown(end_end_, change);
}

}  // namespace velmora
