// ElementStack: the elements that are open, packed.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "html/attribute.h"
#include "html/block_list.h"
#include "html/tag_name.h"

namespace velmora {

/// Where an element's start tag stands, and what handlers have asked for. Positions are relative to
/// the base, a buffer index.
struct OpenElement {
  std::uint32_t base = 0;
  /// The "<" of the start tag, and just after its ">".
  std::uint32_t start_begin = UNKNOWN;
  std::uint32_t start_end = UNKNOWN;
  std::uint32_t flags = 0;
};

/// A page may open any number of elements and close none, so an element takes few bytes here beside
/// its texts, and nothing that is done for a tag depends on how many are open. Elements are
/// numbered by their depth, the outermost is 0. Views of texts are good until the next change.
class ElementStack {
 public:
  std::uint32_t Size() const noexcept { return static_cast<std::uint32_t>(entries_.size()); }
  OpenElement &At(std::uint32_t depth) noexcept { return entries_[depth].element; }
  const OpenElement &At(std::uint32_t depth) const noexcept { return entries_[depth].element; }
  std::string_view Name(std::uint32_t depth) const noexcept;
  /// The same in two words; empty for one that does not fit.
  TagName ShortName(std::uint32_t depth) const noexcept {
    return HasListedName(depth) ? listed_names_[depth] : TagName::OfText(Name(depth));
  }
  /// As an `AttributeWriter` packs them.
  std::string_view Attributes(std::uint32_t depth) const noexcept;
  void SetAttributes(std::uint32_t depth, std::string_view attributes);

  std::uint32_t Base(std::uint32_t depth) const noexcept;
  void SetBase(std::uint32_t depth, std::uint32_t base) noexcept;
  /// Gives all elements the base.
  void SetAllBases(std::uint32_t base) noexcept;

  void Push(const OpenElement &element, std::string_view name, std::string_view attributes);
  /// One without attributes.
  void Push(const OpenElement &element, const TagName &name) {
    if (Size() >= LISTED_DEPTH) return Push(element, name.text(), {});
    listed_names_[Size()] = name;
    entries_.push_back({element, static_cast<std::uint32_t>(texts_.size()), UNKNOWN});
  }
  /// Forgets the innermost element.
  void Pop() noexcept {
    const std::uint32_t text_begin = entries_.back().text_begin;
    if (Size() > LISTED_DEPTH) LeaveSlot();
    texts_.resize(text_begin);
    entries_.pop_back();
    rebased_depth_ = std::min(rebased_depth_, Size());
  }
  void Clear() noexcept;
  /// What the elements take, about.
  std::size_t Memory() const noexcept {
    return entries_.size() * sizeof(Entry) + texts_.capacity() + slots_.size() * sizeof slots_[0];
  }
  /// Is an element of this name open?
  bool Contains(std::string_view name) const noexcept;
  bool Contains(const TagName &name) const noexcept {
    return IsListed(name) || (!slots_.empty() && IsInSlots(name.text()));
  }
  /// Is the element at that depth of this name?
  bool IsNamed(std::uint32_t depth, const TagName &name) const noexcept {
    return depth < LISTED_DEPTH ? listed_names_[depth] == name : Name(depth) == name.text();
  }

 private:
  struct Entry {
    OpenElement element;
    /// In `texts_`: the name's size and the name, unless it is listed, and the attributes.
    std::uint32_t text_begin;
    /// Depth of the next outer element of the same name; unknown when there is none.
    std::uint32_t namesake;
  };

  /// Elements of real pages are seldom deeper; those that are have their names in `texts_` and in a
  /// hash table.
  static constexpr std::uint32_t LISTED_DEPTH = 32;

  std::size_t TextEnd(std::uint32_t depth) const noexcept;
  bool HasListedName(std::uint32_t depth) const noexcept {
    return depth < LISTED_DEPTH && !(listed_names_[depth] == TagName());
  }
  bool IsListed(const TagName &name) const noexcept {
    // Nearly always it is one of the innermost.
    for (std::uint32_t depth = std::min(Size(), LISTED_DEPTH); depth-- > 0;) {
      if (listed_names_[depth] == name) return true;
    }
    return false;
  }
  bool IsInSlots(std::string_view name) const noexcept;
  /// The first of the slots that a name can be in for which `is_sought` is true of what it holds.
  template <class Predicate>
  std::uint32_t &SlotWhere(std::string_view name, Predicate is_sought) noexcept;
  /// The slot that holds the name, or the empty one that it would be put into.
  std::uint32_t &Slot(std::string_view name) noexcept;
  void LeaveSlot() noexcept;
  void GrowSlots();

  BlockList<Entry> entries_;
  /// Of the outermost elements; empty for one that does not fit and stands in `texts_`.
  std::array<TagName, LISTED_DEPTH> listed_names_{};
  std::string texts_;
  /// A hash table with open addressing: depths of the innermost element of each name. Names leave
  /// in the reverse of the order in which they came, so a slot can simply be emptied.
  std::vector<std::uint32_t> slots_;
  std::uint32_t distinct_names_ = 0;
  /// The elements outside this depth have `rebased_to_` as their base, whatever they say.
  std::uint32_t rebased_depth_ = 0;
  std::uint32_t rebased_to_ = 0;
};

}  // namespace velmora
