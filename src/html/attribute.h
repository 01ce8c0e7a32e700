// CHTMLAttribute: one attribute of a start tag, and the tokens it is made from.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velmora {

/// All bits set: a position or length that is not known.
inline constexpr std::uint32_t UNKNOWN = 0xFFFFFFFF;

/// One token of a tag behind its name: a name, "=", or a value with its quotes.
struct TagToken {
  std::string text;
  /// In page bytes, relative to the hold point.
  std::uint32_t start;
  std::uint32_t length;
};

/// Names are lower case; values stand as written, quotes included. Spans are in page bytes,
/// relative to the start tag's "<".
struct CHTMLAttribute {
  std::string name;
  std::uint32_t name_start;
  std::uint32_t name_length;
  std::string value;
  std::uint32_t value_start;
  std::uint32_t value_length;

  bool HasValue() const noexcept { return value_length != UNKNOWN; }

  /// Moves both spans. The unknown value span of an attribute without one moves too; nothing reads
  /// it.
  void Shift(std::int32_t change) noexcept {
    name_start += static_cast<std::uint32_t>(change);
    value_start += static_cast<std::uint32_t>(change);
  }
};

/// Makes the attributes of a tag from its tokens: each token begins an attribute, and is followed
/// by its value when "=" and one more token come behind it. `tag_begin` is the tag's "<", relative
/// to the hold point.
std::vector<CHTMLAttribute> MakeAttributes(const std::vector<TagToken> &tokens,
                                           std::uint32_t tag_begin);

}  // namespace velmora
