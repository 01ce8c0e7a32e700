// IAdReview: how a host has a say in which elements are advertisements.
#pragma once

#include <cstdint>

#include <velmora/counted.h>

namespace velmora {

/// {E6E9D4D7-FF81-4E73-860D-A73992974979}
inline constexpr Identifier ID_AdReview{{0xD7, 0xD4, 0xE9, 0xE6, 0x81, 0xFF, 0x73, 0x4E, 0x86, 0x0D,
                                         0xA7, 0x39, 0x92, 0x97, 0x49, 0x79}};

/// Who decides by their URLs about the elements of a name.
enum AdReview : std::int32_t {
  /// The library; the host may keep what it names.
  AD_REVIEW_LIBRARY = 0,
  /// Nobody: all stay. The library is not asked about them, nor told of links.
  AD_REVIEW_NOBODY = 1,
  /// The host; the library is not asked.
  AD_REVIEW_HOST = 2,
};

/// A host's `IDataContext` may answer `QueryInterface` for it too. The plug-in asks when it makes
/// what looks for advertisements by their URLs (category 305), when the host has to decide, and
/// when it is about to remove an element, and at no other time.
///
/// `tag` is the element's name in capitals, `value` an attribute's value without quotes, `url` the
/// same made absolute, in the plug-in's way.
class IAdReview : public ICounted {
 public:
  /// An `AdReview`; any other value counts as `AD_REVIEW_LIBRARY`. Asked once for each name.
  virtual std::int32_t WhoDecides(const char *tag) noexcept = 0;
  /// Where the host decides: why the element goes, for the report, valid until the next call. Null:
  /// it stays.
  virtual const char *ReasonToRemove(const char *tag, const char *value,
                                     const char *url) noexcept = 0;
  /// Where the library decides. Nonzero: the element stays, as if the library had not called the
  /// URL an advertisement's.
  virtual std::uint8_t IsKept(const char *tag, const char *value, const char *url) noexcept = 0;

 protected:
  ~IAdReview() = default;
};

}  // namespace velmora
