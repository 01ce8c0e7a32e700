// IAdReview: how a host keeps elements that the ad-blocking library calls advertisements.
#pragma once

#include <cstdint>

#include <velmora/counted.h>

namespace velmora {

/// {07DE8631-6B42-4039-803C-CD8C98DCBBFF}
inline constexpr Identifier ID_AdReview{{0x31, 0x86, 0xDE, 0x07, 0x42, 0x6B, 0x39, 0x40, 0x80, 0x3C,
                                         0xCD, 0x8C, 0x98, 0xDC, 0xBB, 0xFF}};

/// A host's `IDataContext` may answer `QueryInterface` for it too. The plug-in asks when it makes
/// what looks for advertisements by their URLs (category 305) and when it is about to remove an
/// element, and at no other time.
class IAdReview : public ICounted {
 public:
  /// Nonzero: all elements of this name stay, whatever their URLs. The library is not asked about
  /// those, nor told of links. `tag` is the name in capitals.
  virtual std::uint8_t KeepsAll(const char *tag) noexcept = 0;
  /// Nonzero: the element stays, as if the library had not called the URL an advertisement's.
  /// `tag` is the element's name in capitals, `value` the attribute's value without quotes,
  /// `url` the same as the library was asked about it: made absolute, in the plug-in's way.
  virtual std::uint8_t IsKept(const char *tag, const char *value, const char *url) noexcept = 0;

 protected:
  ~IAdReview() = default;
};

}  // namespace velmora
