// The character set that a page itself tells in its first bytes.
#pragma once

#include <cstddef>
#include <string_view>

namespace velmora::host {

/// Only so much of a page is looked at.
inline constexpr std::size_t PAGE_CHARSET_BYTES = 1024;

/// What a byte-order mark, or else the first META element that declares a character set, says of a
/// page that begins with `bytes`: the converter's name, empty when they say nothing. Bytes that may
/// still come are not waited for: a declaration that they would complete does not count.
std::string_view PageCharset(std::string_view bytes) noexcept;

}  // namespace velmora::host
