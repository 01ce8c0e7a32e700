// The formatter of trace lines.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace velmora::platform {

/// Longest text that a format produces, in bytes.
inline constexpr std::size_t FORMAT_LIMIT = 1024;

/// Formats into `output`, which has room for `FORMAT_LIMIT` + 1 bytes, and returns the length
/// without the NUL that is put after it; longer text is cut. Understands %d %u %s %c %x %X and %%
/// with the flags "-" and "0", a field width and a precision; no floating point. A null string is
/// written as "(null)", a NUL character as nothing, an unknown conversion as it stands. Allocates
/// nothing and does not depend on the locale.
[[gnu::format(printf, 2, 0)]] std::size_t Format(char *output, const char *format,
                                                 std::va_list arguments) noexcept;

}  // namespace velmora::platform
