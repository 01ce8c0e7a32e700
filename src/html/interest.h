// Interest: the start tags that a page's handlers want to see.
//
// Most tags of a page matter to nobody; those need not be shown around. What a handler does with an
// element is the same either way: it says beforehand at which tags it would do anything at all.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "html/tag_name.h"

namespace velmora {

class Interest {
 public:
  /// What of the tags of a name is wanted, or of all tags; bits.
  enum Wanted : unsigned {
    NOTHING = 0,
    EVERYTHING = 1,
    /// Tags with an attribute whose name begins with "on".
    EVENT_ATTRIBUTES = 2,
    /// Tags that hold "javascript:" anywhere, in letters of either case.
    SCRIPT_LINKS = 4,
    /// Tags that nobody wants to see are forgotten at once, as by `ELEMENT_DROP`.
    DROPPED = 8,
  };

  void AddEverywhere(Wanted wanted) noexcept { everywhere_ |= wanted; }
  /// `name` is upper case.
  void AddTag(std::string_view name, unsigned wanted = EVERYTHING) noexcept {
    if (name.size() > TagName::LONGEST || name.empty() || 2 * ++count_ > SLOTS) {
      everywhere_ |= EVERYTHING;
      return;
    }
    const std::size_t slot = Find(TagName(name));
    names_[slot] = TagName(name);
    wanted_[slot] |= static_cast<std::uint8_t>(wanted);
  }

  unsigned In(const TagName &name) const noexcept { return everywhere_ | wanted_[Find(name)]; }

 private:
  static constexpr std::size_t SLOTS = 64;

  /// Of the slot that holds the name, or of the empty one where it would stand.
  std::size_t Find(const TagName &name) const noexcept {
    std::size_t slot = name.Hash() % SLOTS;
    while (!(names_[slot] == name) && !(names_[slot] == TagName())) slot = (slot + 1) % SLOTS;
    return slot;
  }

  unsigned everywhere_ = NOTHING;
  std::size_t count_ = 0;
  std::array<TagName, SLOTS> names_{};
  std::array<std::uint8_t, SLOTS> wanted_{};
};

}  // namespace velmora
