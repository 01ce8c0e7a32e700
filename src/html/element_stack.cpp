#include "html/element_stack.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "html/packed_number.h"

namespace velmora {
namespace {

constexpr std::size_t FEWEST_SLOTS = 32;
constexpr std::size_t MOST_TEXT = std::numeric_limits<std::uint32_t>::max();

/// FNV-1a, begun from a place in memory, so that no page can be made to have its names collide.
std::uint64_t Hash(std::string_view name, const void *seed) noexcept {
  std::uint64_t hash = 0xCBF29CE484222325U ^ reinterpret_cast<std::uintptr_t>(seed);
  for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  return hash ^ hash >> 32U;
}

}  // namespace

std::string_view ElementStack::Name(std::uint32_t depth) const noexcept {
  if (HasListedName(depth)) return listed_names_[depth].text();
  std::string_view text = std::string_view(texts_).substr(entries_[depth].text_begin);
  const std::uint64_t size = TakePacked(text);
  return text.substr(0, size);
}

std::string_view ElementStack::Attributes(std::uint32_t depth) const noexcept {
  std::size_t begin = entries_[depth].text_begin;
  if (!HasListedName(depth)) {
    const std::string_view name = Name(depth);
    begin = static_cast<std::size_t>(name.data() + name.size() - texts_.data());
  }
  return std::string_view(texts_).substr(begin, TextEnd(depth) - begin);
}

void ElementStack::SetAttributes(std::uint32_t depth, std::string_view attributes) {
  const std::string_view before = Attributes(depth);
  const auto begin = static_cast<std::size_t>(before.data() - texts_.data());
  const std::size_t old_size = before.size();
  texts_.replace(begin, old_size, attributes);
  for (std::uint32_t inner = depth + 1; inner < Size(); ++inner) {
    entries_[inner].text_begin += static_cast<std::uint32_t>(attributes.size() - old_size);
  }
}

std::uint32_t ElementStack::Base(std::uint32_t depth) const noexcept {
  return depth < rebased_depth_ ? rebased_to_ : At(depth).base;
}

void ElementStack::SetBase(std::uint32_t depth, std::uint32_t base) noexcept {
  for (; rebased_depth_ > depth; --rebased_depth_) At(rebased_depth_ - 1).base = rebased_to_;
  At(depth).base = base;
}

void ElementStack::SetAllBases(std::uint32_t base) noexcept {
  rebased_depth_ = Size();
  rebased_to_ = base;
}

void ElementStack::Push(const OpenElement &element, std::string_view name,
                        std::string_view attributes) {
  const std::uint32_t depth = Size();
  const bool is_outer = depth < LISTED_DEPTH;
  if (is_outer) {
    listed_names_[depth] = TagName::OfText(name);
  } else if (2 * (distinct_names_ + std::size_t{1}) > slots_.size()) {
    GrowSlots();
  }
  const std::size_t text_begin = texts_.size();
  if (text_begin > MOST_TEXT || depth == UNKNOWN) throw std::length_error("open elements");
  if (!HasListedName(depth)) {
    AppendPacked(texts_, name.size());
    texts_.append(name);
  }
  texts_.append(attributes);
  entries_.push_back({element, static_cast<std::uint32_t>(text_begin), UNKNOWN});
  if (is_outer) return;
  std::uint32_t &slot = Slot(name);
  entries_.back().namesake = slot;
  if (slot == UNKNOWN) ++distinct_names_;
  slot = depth;
}

void ElementStack::LeaveSlot() noexcept {
  const std::uint32_t depth = Size() - 1;
  std::uint32_t &slot =
      SlotWhere(Name(depth), [depth](std::uint32_t held) { return held == depth; });
  slot = entries_.back().namesake;
  if (slot == UNKNOWN) --distinct_names_;
}

void ElementStack::Clear() noexcept {
  entries_.clear();
  texts_.clear();
  slots_.clear();
  distinct_names_ = 0;
  rebased_depth_ = 0;
}

bool ElementStack::Contains(std::string_view name) const noexcept {
  // An end tag may have no name; no element has none.
  if (name.empty()) return false;
  if (name.size() <= TagName::LONGEST) return Contains(TagName(name));
  if (!slots_.empty() && IsInSlots(name)) return true;
  for (std::uint32_t depth = 0; depth < std::min(Size(), LISTED_DEPTH); ++depth) {
    if (Name(depth) == name) return true;
  }
  return false;
}

bool ElementStack::IsInSlots(std::string_view name) const noexcept {
  return const_cast<ElementStack *>(this)->Slot(name) != UNKNOWN;
}

std::size_t ElementStack::TextEnd(std::uint32_t depth) const noexcept {
  return depth + 1 < Size() ? entries_[depth + 1].text_begin : texts_.size();
}

template <class Predicate>
std::uint32_t &ElementStack::SlotWhere(std::string_view name, Predicate is_sought) noexcept {
  const std::size_t mask = slots_.size() - 1;
  std::size_t index = Hash(name, this) & mask;
  while (!is_sought(slots_[index])) index = (index + 1) & mask;
  return slots_[index];
}

std::uint32_t &ElementStack::Slot(std::string_view name) noexcept {
  return SlotWhere(name, [&](std::uint32_t held) { return held == UNKNOWN || Name(held) == name; });
}

void ElementStack::GrowSlots() {
  std::vector<std::uint32_t> grown(std::max(FEWEST_SLOTS, 2 * slots_.size()), UNKNOWN);
  slots_.swap(grown);
  // From the outermost on, so that the names stand as if they had come to so many slots.
  for (std::uint32_t depth = LISTED_DEPTH; depth < Size(); ++depth) Slot(Name(depth)) = depth;
}

}  // namespace velmora
