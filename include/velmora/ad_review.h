// IAdReview: how a host keeps elements that the ad-blocking library calls advertisements.
#pragma once

#include <cstdint>

#include <velmora/counted.h>

namespace velmora {

/// {79AD976D-07CC-4768-A4EB-9F4724BFF4A8}
inline constexpr Identifier ID_AdReview{{0x6D, 0x97, 0xAD, 0x79, 0xCC, 0x07, 0x68, 0x47, 0xA4, 0xEB,
                                         0x9F, 0x47, 0x24, 0xBF, 0xF4, 0xA8}};

/// A host's `IDataContext` may answer `QueryInterface` for it too. The plug-in asks when it is
/// about to remove an element (category 305) and at no other time, so that other hosts see nothing
/// of it.
class IAdReview : public ICounted {
 public:
  /// Nonzero: the element stays, as if the library had not called the URL an advertisement's.
  /// `tag` is the element's name in capitals, `value` the attribute's value without quotes,
  /// `url` the same as the library was asked about it: made absolute, in the plug-in's way.
  virtual std::uint8_t IsKept(const char *tag, const char *value, const char *url) noexcept = 0;

 protected:
  ~IAdReview() = default;
};

}  // namespace velmora
