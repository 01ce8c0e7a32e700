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

CHTMLElement::CHTMLElement(const PageChunk &page, TagSpan start_tag, std::string name,
                           const std::vector<TagToken> &tokens, const EncodingStack &encodings,
                           CHTMLElement *parent)
    : page_(page),
      start_begin_(start_tag.begin),
      start_end_(start_tag.end),
      name_(std::move(name)),
      parent_(parent),
      encodings_(encodings),
      attributes_(MakeAttributes(tokens, start_tag.begin)) {}

std::uint32_t CHTMLElement::GetAttributeCount() const noexcept {
  return static_cast<std::uint32_t>(attributes_.size());
}

bool CHTMLElement::GetAttributeAt(std::uint32_t index, std::string &name,
                                  std::string &value) const {
  if (index >= attributes_.size()) return false;
  name = attributes_[index].name;
  value = attributes_[index].value;
  return true;
}

bool CHTMLElement::GetAttribute(std::string_view name, std::string &value) const {
  for (const CHTMLAttribute &attribute : attributes_) {
    if (!EqualNoCase(attribute.name, name)) continue;
    value = attribute.value;
    return true;
  }
  return false;
}

std::int32_t CHTMLElement::SetAttribute(std::string_view name, std::string_view value) {
  std::int32_t last_change = 0;
  for (CHTMLAttribute &attribute : attributes_) {
    if (!attribute.HasValue() || !EqualNoCase(attribute.name, name)) {
      attribute.Shift(last_change);
      continue;
    }
    // Encoded anew for each: a converter with shift states may answer differently.
    const std::string encoded = Encode(value);
    last_change =
        page_.Replace(BufferIndex(attribute.value_start), attribute.value_length, encoded);
    attribute.value = value;
    attribute.value_length = static_cast<std::uint32_t>(encoded.size());
  }
  ShiftEndTag(last_change);
  return last_change;
}

std::int32_t CHTMLElement::RemoveAttributeAt(std::uint32_t index) {
  if (index >= attributes_.size()) return 0;
  const auto removed = attributes_.begin() + index;
  const std::int32_t change = Delete(*removed);
  for (auto behind = attributes_.erase(removed); behind != attributes_.end(); ++behind) {
    behind->Shift(change);
  }
  ShiftEndTag(change);
  return change;
}

std::int32_t CHTMLElement::RemoveAttribute(std::string_view name) {
  std::int32_t last_change = 0;
  for (auto attribute = attributes_.begin(); attribute != attributes_.end();) {
    if (EqualNoCase(attribute->name, name)) {
      last_change = Delete(*attribute);
      attribute = attributes_.erase(attribute);
    } else {
      attribute->Shift(last_change);
      ++attribute;
    }
  }
  ShiftEndTag(last_change);
  return last_change;
}

std::int32_t CHTMLElement::FilterContent(IDataProcessor *handler) {
  IDataBuffer &buffer = page_.buffer();
  const std::uint32_t begin = base_ + start_end_;
  const std::uint32_t length = end_begin_ - start_end_;
  const std::uint32_t size_before = buffer.GetSize();
  const bool is_inside = static_cast<std::int32_t>(length) >= 0 && page_.Contains(begin, length);
  if (handler != nullptr && is_inside) {
    handler->ProcessData(&buffer, begin, length, DATA_FLAG_START | DATA_FLAG_END);
  }
  const std::uint32_t size_after = buffer.GetSize();
  buffer.SetCommitted(size_after);
  const auto change = static_cast<std::int32_t>(size_after - size_before);
  ShiftAny(end_begin_, change);
  ShiftAny(end_end_, change);
  return change;
}

std::int32_t CHTMLElement::InsertText(std::string_view text, std::uint32_t where) {
  std::uint32_t *const positions[] = {&start_begin_, &start_end_, &end_begin_, &end_end_};
  if (where > INSERT_AFTER_END) return 0;
  const std::string encoded = Encode(text);
  const std::uint32_t index = base_ + *positions[where];
  if (index == UNKNOWN) return 0;

  const std::int32_t inserted = page_.Replace(index, 0, encoded);
  if (where == INSERT_BEFORE_START) {
    ShiftAny(start_begin_, inserted);
    ShiftAny(start_end_, inserted);
  }
  if (where != INSERT_AFTER_END) {
    ShiftAny(end_begin_, inserted);
    ShiftAny(end_end_, inserted);
  }
  return inserted;
}

std::int32_t CHTMLElement::Remove() {
  const std::uint32_t end = end_end_ == UNKNOWN ? start_end_ : end_end_;
  const std::uint32_t length = end - start_begin_;
  if (static_cast<std::int32_t>(length) < 1) return static_cast<std::int32_t>(0 - length);
  const std::int32_t change = page_.Replace(base_ + start_begin_, length, {});
  attributes_.clear();
  start_begin_ = start_end_ = end_begin_ = end_end_ = UNKNOWN;
  return change;
}

void CHTMLElement::SetEndTag(std::uint32_t begin, std::uint32_t end) noexcept {
  end_begin_ = begin;
  end_end_ = end;
}

void CHTMLElement::Shift(std::int32_t change) noexcept {
  ShiftKnown(start_begin_, change);
  ShiftKnown(start_end_, change);
  ShiftEndTag(change);
}

void CHTMLElement::Dump() const {
  std::string line = "ELEMENT: " + name_;
  for (const CHTMLAttribute &attribute : attributes_) {
    line += ' ' + attribute.name;
    if (!attribute.value.empty()) line += '=' + attribute.value;
  }
  Log("%s\n", line.c_str());
}

std::string CHTMLElement::Encode(std::string_view text) const {
  return encodings_.IsEmpty() ? std::string() : encodings_.Top().Encode(text);
}

std::uint32_t CHTMLElement::BufferIndex(std::uint32_t span_start) const noexcept {
  return base_ + start_begin_ + span_start;
}

/// From the attribute's name to its value's end; an attribute without a value is its name alone.
std::int32_t CHTMLElement::Delete(const CHTMLAttribute &attribute) const noexcept {
  const std::uint32_t length =
      attribute.HasValue() ? attribute.value_start + attribute.value_length - attribute.name_start
                           : attribute.name_length;
  return page_.Replace(BufferIndex(attribute.name_start), length, {});
}

void CHTMLElement::ShiftEndTag(std::int32_t change) noexcept {
  ShiftKnown(end_begin_, change);
  ShiftKnown(end_end_, change);
}

}  // namespace velmora
