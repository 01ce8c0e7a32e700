// Interest: the start tags that a page's handlers want to see.
//
// Most tags of a page matter to nobody; those need not be shown around. What a handler does with an
// element is the same either way: it says beforehand at which tags it would do anything at all.
#pragma once

#include <array>
#include <string_view>

#include "html/tag_name.h"

namespace velmora {

class Interest {
 public:
  void AddEverything() noexcept { in_everything_ = true; }
  /// Tags with an attribute whose name begins with "on".
  void AddEventAttributes() noexcept { in_event_attributes_ = true; }
  /// `name` is upper case.
  void AddTag(std::string_view name) noexcept {
    if (name.size() > TagName::LONGEST || name.empty() || 2 * ++count_ > SLOTS) {
      in_everything_ = true;
      return;
    }
    Find(TagName(name)) = TagName(name);
  }

  bool IsIn(const TagName &name, bool has_event_attribute) const noexcept {
    return in_everything_ || (in_event_attributes_ && has_event_attribute) ||
           const_cast<Interest *>(this)->Find(name) == name;
  }

 private:
  static constexpr std::size_t SLOTS = 64;

  /// The slot that holds the name, or the empty one where it would stand.
  TagName &Find(const TagName &name) noexcept {
    std::size_t slot = name.Hash() % SLOTS;
    while (!(slots_[slot] == name) && !(slots_[slot] == TagName())) slot = (slot + 1) % SLOTS;
    return slots_[slot];
  }

  bool in_everything_ = false;
  bool in_event_attributes_ = false;
  std::size_t count_ = 0;
  std::array<TagName, SLOTS> slots_{};
};

}  // namespace velmora
