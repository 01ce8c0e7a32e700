// The character set that a page itself tells in its first bytes.
#pragma once

#include <cstddef>
#include <string_view>

namespace velmora::host {

/// Only so much of a page is looked at.
inline constexpr std::size_t PAGE_CHARSET_BYTES = 1024;

/// The set that a byte-order mark tells; empty when there is none. It stands above all else.
std::string_view MarkedCharset(std::string_view bytes) noexcept;
/// The bytes may be the begin of such a mark, or of a declaration in 16-bit letters.
bool MayBeginMark(std::string_view bytes) noexcept;

/// What the first META element that declares a character set, or an XML declaration, says of a page
/// that begins with `bytes`: the converter's name, empty when they say nothing. Bytes that may
/// still come are not waited for: a declaration that they would complete does not count.
std::string_view PageCharset(std::string_view bytes) noexcept;
/// The same for a document in XML, which has no META.
std::string_view XmlCharset(std::string_view bytes) noexcept;

}  // namespace velmora::host
