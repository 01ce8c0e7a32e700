// CHTMLAttribute: one attribute of a start tag.
#pragma once

#include <cstdint>
#include <string_view>

namespace velmora {

/// All bits set: a position or length that is not known.
inline constexpr std::uint32_t UNKNOWN = 0xFFFFFFFF;

/// As an `AttributeReader` gives it: the texts are looked at, not owned. Names are lower case;
/// values stand as written, quotes included. Spans are in page bytes, relative to the start tag's
/// "<".
struct CHTMLAttribute {
  std::string_view name;
  std::uint32_t name_start = 0;
  std::uint32_t name_length = 0;
  std::string_view value;
  std::uint32_t value_start = UNKNOWN;
  std::uint32_t value_length = UNKNOWN;

  bool HasValue() const noexcept { return value_length != UNKNOWN; }

  /// Moves both spans. The unknown value span of an attribute without one moves too; nothing reads
  /// it.
  void Shift(std::int32_t change) noexcept {
    name_start += static_cast<std::uint32_t>(change);
    value_start += static_cast<std::uint32_t>(change);
  }
};

}  // namespace velmora
