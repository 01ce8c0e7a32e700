// IPageListener: how a host hears of what is not reported as blocked.
#pragma once

#include <cstdint>

#include <velmora/counted.h>

namespace velmora {

/// {B3D1C6A8-52E7-4F09-8C1E-7D90A4E2135B}
inline constexpr Identifier ID_PageListener{{0xA8, 0xC6, 0xD1, 0xB3, 0xE7, 0x52, 0x09, 0x4F, 0x8C,
                                             0x1E, 0x7D, 0x90, 0xA4, 0xE2, 0x13, 0x5B}};

/// A host's `IDataContext` may answer `QueryInterface` for it too. The plug-in asks when there is
/// something to tell and at no other time. Called from within `ProcessData`, on its thread.
class IPageListener : public ICounted {
 public:
  /// A script is about to be put into the page that suppresses what the category says (pop-up
  /// windows, script errors). What it comes to suppress, the browser alone sees.
  virtual void OnScriptInserted(std::int32_t category) noexcept = 0;
  /// The page's open elements take so many bytes of memory. Told after each call once they have
  /// taken more than a few; it is all given back with the processor.
  virtual void OnMemory(std::uint64_t bytes) noexcept = 0;

 protected:
  ~IPageListener() = default;
};

}  // namespace velmora
