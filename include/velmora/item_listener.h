// IItemListener: how a host hears where blocked items stand.
#pragma once

#include <cstdint>

#include <velmora/counted.h>

namespace velmora {

/// {5E0B7A34-2F91-4D6C-A7B8-11C8E2945D70}
inline constexpr Identifier ID_ItemListener{{0x34, 0x7A, 0x0B, 0x5E, 0x91, 0x2F, 0x6C, 0x4D, 0xA7,
                                             0xB8, 0x11, 0xC8, 0xE2, 0x94, 0x5D, 0x70}};

/// A host's `IDataContext` may answer `QueryInterface` for it too. The plug-in asks before it
/// reports something that was blocked in an element, and at no other time. Called from within
/// `ProcessData`, on its thread.
class IItemListener : public ICounted {
 public:
  /// What is reported next stands in the element whose start tag begins at this index of the
  /// buffer, and which edits have made longer by `growth` bytes so far. No edit so far lies behind
  /// the tag.
  virtual void OnItem(std::uint32_t position, std::int32_t growth) noexcept = 0;

 protected:
  ~IItemListener() = default;
};

}  // namespace velmora
