// MimeType: what a response's Content-Type says, read as browsers read it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora::host {

struct MimeType {
  /// "text/html", in lower case.
  std::string essence{};
  /// The label of the charset parameter as it was given; empty when there is none.
  std::string charset{};
};

/// One MIME type by the MIME Sniffing Standard; none when it is none.
std::optional<MimeType> ParseMimeType(std::string_view text);

/// The type of a response by the Fetch Standard, from its Content-Type values with commas between
/// them (as those of several header lines are joined): the last good one, and a charset that an
/// earlier one of the same type told. A value that is only nearly a type ("text/html (page)") is
/// taken for one where browsers do. None when there is no good one, or only "*/*": such a body is
/// what it looks like.
std::optional<MimeType> ExtractMimeType(std::string_view values);

/// What a body is to browsers, and so to the filter.
enum class BodyKind {
  HTML,
  /// A document of another language in which browsers run scripts: SVG, XML.
  XML,
  JAVASCRIPT,
  VBSCRIPT,
  GIF,
  /// The type says nothing: the first bytes decide.
  UNKNOWN,
  OTHER,
};

BodyKind KindOf(const std::optional<MimeType> &type) noexcept;

}  // namespace velmora::host
