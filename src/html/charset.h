// The choice of a page's character set.
#pragma once

#include <string>
#include <string_view>

#include "html/encoding_stack.h"

namespace velmora {

/// The set that pages are in when nothing says otherwise.
inline constexpr char DEFAULT_CHARSET[] = "ISO-8859-1";

/// Finds the charset parameter of a Content-Type value; false when there is none. The charset may
/// be empty. It must stand after a ";", and any parameter whose name begins with "charset" counts.
bool ParseCharset(std::string_view value, std::string &charset);

/// Pushes the encoding in which a body starts: the one that `content_type` (null: none) names, else
/// "ISO-8859-1". The stack stays empty when not even that can be opened.
void PushStartEncoding(const char *content_type, EncodingStack &encodings);

/// Makes the encoding; null, with a trace line, when libiconv does not know the set.
std::unique_ptr<CEncoding> MakeEncoding(std::string_view name);

}  // namespace velmora
