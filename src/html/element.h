// CHTMLElement: an element of the page, edited where it stands in the host's buffer.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "html/attribute_list.h"
#include "html/edit_run.h"
#include "html/element_stack.h"
#include "html/encoding_stack.h"
#include "html/html_element.h"
#include "html/page_chunk.h"

namespace velmora {

/// One of the open elements, as a handler sees it: made when its start tag or its end tag is
/// handled, and forgotten after that. Holds no copy of the page. Positions are relative to the
/// base, the tokenizer's hold point, and wrap around in 32 bits, so that base plus position is
/// always a buffer index. Views of texts are good until an attribute of any element is edited.
class CHTMLElement final : public IHTMLElement {
 public:
  /// The element of `stack` at that depth. All three outlive it.
  CHTMLElement(const PageChunk &page, const EncodingStack &encodings, ElementStack &stack,
               std::uint32_t depth) noexcept
      : page_(page), encodings_(encodings), stack_(stack), depth_(depth) {}
  CHTMLElement(const CHTMLElement &) = delete;
  CHTMLElement &operator=(const CHTMLElement &) = delete;
  ~CHTMLElement();

  std::string GetName() const override { return std::string(name()); }
  CHTMLElement *GetParent() const override;
  std::uint32_t GetAttributeCount() const noexcept override;
  bool GetAttributeAt(std::uint32_t index, std::string &name, std::string &value) const override;
  bool GetAttribute(std::string_view name, std::string &value) const override;
  std::int32_t SetAttribute(std::string_view name, std::string_view value) override;
  std::int32_t RemoveAttributeAt(std::uint32_t index) override;
  std::int32_t RemoveAttribute(std::string_view name) override;
  /// Removes every attribute that `is_removed` is true for, each when `report` has been told of it;
  /// answers the change in length. Does what `RemoveAttributeAt` would do for one after the other,
  /// in one pass: a tag may have any number of them.
  template <class Predicate, class Report>
  std::int32_t RemoveAttributesIf(Predicate is_removed, Report report);
  std::int32_t FilterContent(IDataProcessor *handler) override;
  std::int32_t InsertText(std::string_view text, std::uint32_t where) override;
  std::int32_t Remove() override;
  void SetEndTag(std::uint32_t begin, std::uint32_t end) noexcept override;
  void SetBase(std::uint32_t base) noexcept override { stack_.SetBase(depth_, base); }
  void Shift(std::int32_t change) noexcept override;
  std::uint32_t GetFlags() const noexcept override { return Place().flags; }
  void SetFlags(std::uint32_t bits) noexcept override { Place().flags |= bits; }
  void ClearFlags(std::uint32_t bits) noexcept override { Place().flags &= ~bits; }

  /// As `GetAttribute`, without a copy.
  std::optional<std::string_view> FindAttribute(std::string_view name) const noexcept {
    return Attributes().FindValue(name);
  }
  bool HasFlags(std::uint32_t bits) const noexcept { return (GetFlags() & bits) != 0; }
  std::string_view name() const noexcept { return stack_.Name(depth_); }
  TagName short_name() const noexcept { return stack_.ShortName(depth_); }
  /// The buffer index of its "<", and by how much edits of attributes have made its tag longer.
  std::uint32_t BeginIndex() const noexcept { return BufferIndex(0); }
  std::int32_t Growth() const noexcept { return growth_; }

  /// The elements around this one, itself included, by their depth: the outermost is 0.
  std::uint32_t depth() const noexcept { return depth_; }
  std::string_view NameAt(std::uint32_t depth) const noexcept { return stack_.Name(depth); }
  std::uint32_t FlagsAt(std::uint32_t depth) const noexcept { return stack_.At(depth).flags; }
  /// As `InsertText` before the start tag of the element at that depth, with which all from there
  /// to this one move.
  std::int32_t InsertBefore(std::uint32_t depth, std::string_view text);

  /// Writes the element to the debug log: "ELEMENT: A href="x"".
  void Dump() const;

 private:
  OpenElement &Place() const noexcept { return stack_.At(depth_); }
  std::uint32_t Base() const noexcept { return stack_.Base(depth_); }
  AttributeReader Attributes() const noexcept { return AttributeReader(stack_.Attributes(depth_)); }
  template <class Predicate>
  bool HasAttributeThat(Predicate predicate) const;
  /// Passes every attribute to `keep`, which may change it, and drops those that it is false for.
  template <class Keep>
  void RewriteAttributes(Keep keep);
  std::string Encode(std::string_view text) const;
  std::uint32_t BufferIndex(std::uint32_t span_start) const noexcept;
  std::int32_t Delete(const CHTMLAttribute &attribute, EditRun &edits) const;
  void ShiftEndTag(std::int32_t change) noexcept;

  const PageChunk &page_;
  const EncodingStack &encodings_;
  ElementStack &stack_;
  const std::uint32_t depth_;
  std::uint32_t end_begin_ = UNKNOWN;
  std::uint32_t end_end_ = UNKNOWN;
  std::int32_t growth_ = 0;
  /// Made when asked for.
  mutable std::unique_ptr<CHTMLElement> parent_;
};

template <class Predicate>
bool CHTMLElement::HasAttributeThat(Predicate predicate) const {
  AttributeReader reader = Attributes();
  for (CHTMLAttribute attribute; reader.Next(attribute);) {
    if (predicate(attribute)) return true;
  }
  return false;
}

template <class Keep>
void CHTMLElement::RewriteAttributes(Keep keep) {
  AttributeWriter rewritten;
  AttributeReader reader = Attributes();
  for (CHTMLAttribute attribute; reader.Next(attribute);) {
    if (keep(attribute)) rewritten.Append(attribute);
  }
  stack_.SetAttributes(depth_, rewritten.bytes());
}

template <class Predicate, class Report>
std::int32_t CHTMLElement::RemoveAttributesIf(Predicate is_removed, Report report) {
  if (!HasAttributeThat(is_removed)) return 0;
  EditRun edits(page_);
  std::int32_t change = 0;
  RewriteAttributes([&](CHTMLAttribute &attribute) {
    attribute.Shift(change);
    if (!is_removed(attribute)) return true;
    growth_ += edits.TakeGrowth();
    report(attribute);
    change += Delete(attribute, edits);
    return false;
  });
  edits.Finish();
  growth_ += edits.TakeGrowth();
  ShiftEndTag(change);
  return change;
}

}  // namespace velmora
