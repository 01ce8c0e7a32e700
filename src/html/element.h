// CHTMLElement: an element of the page, edited where it stands in the host's buffer.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "html/attribute.h"
#include "html/encoding_stack.h"
#include "html/html_element.h"
#include "html/page_chunk.h"

namespace velmora {

/// Made for every start tag. Holds no copy of the page: its name, its attributes as parsed, and
/// where its tags lie. Positions are relative to the base, the tokenizer's hold point, and wrap
/// around in 32 bits, so that base plus position is always a buffer index.
class CHTMLElement final : public IHTMLElement {
 public:
  /// Where a start tag stands: its "<" and just behind its ">", relative to the hold point.
  struct TagSpan {
    std::uint32_t begin;
    std::uint32_t end;
  };

  /// `page`, `encodings` and `parent` (null at top level) must outlive the element.
  CHTMLElement(const PageChunk &page, TagSpan start_tag, std::string name,
               const std::vector<TagToken> &tokens, const EncodingStack &encodings,
               CHTMLElement *parent);

  std::string GetName() const override { return name_; }
  CHTMLElement *GetParent() const noexcept override { return parent_; }
  std::uint32_t GetAttributeCount() const noexcept override;
  bool GetAttributeAt(std::uint32_t index, std::string &name, std::string &value) const override;
  bool GetAttribute(std::string_view name, std::string &value) const override;
  std::int32_t SetAttribute(std::string_view name, std::string_view value) override;
  std::int32_t RemoveAttributeAt(std::uint32_t index) override;
  std::int32_t RemoveAttribute(std::string_view name) override;
  /// Removes every attribute that `is_removed`, asked in their order, is true for; answers the
  /// change in length. Does what `RemoveAttributeAt` would do for one after the other, in one pass:
  /// a tag may have any number of them.
  template <class Predicate>
  std::int32_t RemoveAttributesIf(Predicate is_removed);
  std::int32_t FilterContent(IDataProcessor *handler) override;
  std::int32_t InsertText(std::string_view text, std::uint32_t where) override;
  std::int32_t Remove() override;
  void SetEndTag(std::uint32_t begin, std::uint32_t end) noexcept override;
  void SetBase(std::uint32_t base) noexcept override { base_ = base; }
  void Shift(std::int32_t change) noexcept override;
  std::uint32_t GetFlags() const noexcept override { return flags_; }
  void SetFlags(std::uint32_t bits) noexcept override { flags_ |= bits; }
  void ClearFlags(std::uint32_t bits) noexcept override { flags_ &= ~bits; }

  bool HasFlags(std::uint32_t bits) const noexcept { return (flags_ & bits) != 0; }
  std::string_view name() const noexcept { return name_; }

  /// Writes the element to the debug log: "ELEMENT: A href="x"".
  void Dump() const;

 private:
  std::string Encode(std::string_view text) const;
  std::uint32_t BufferIndex(std::uint32_t span_start) const noexcept;
  std::int32_t Delete(const CHTMLAttribute &attribute) const noexcept;
  void ShiftEndTag(std::int32_t change) noexcept;

  const PageChunk &page_;
  std::uint32_t base_ = 0;
  std::uint32_t start_begin_;
  std::uint32_t start_end_;
  std::uint32_t end_begin_ = UNKNOWN;
  std::uint32_t end_end_ = UNKNOWN;
  std::string name_;
  CHTMLElement *parent_;
  const EncodingStack &encodings_;
  std::vector<CHTMLAttribute> attributes_;
  std::uint32_t flags_ = 0;
};

template <class Predicate>
std::int32_t CHTMLElement::RemoveAttributesIf(Predicate is_removed) {
  std::int32_t change = 0;
  auto kept = attributes_.begin();
  for (CHTMLAttribute &attribute : attributes_) {
    attribute.Shift(change);
    if (is_removed(attribute)) {
      change += Delete(attribute);
    } else {
      std::swap(*kept++, attribute);
    }
  }
  attributes_.erase(kept, attributes_.end());
  ShiftEndTag(change);
  return change;
}

}  // namespace velmora
