// The content type of a saved body, by its name and its first bytes.
#pragma once

#include <string>
#include <string_view>

namespace velmora::command {

/// The type of a name's extension (of ".html", ".js", ".vbs", ".gif" and the like), else of the
/// bytes (a GIF, an HTML page in ASCII, UTF-8 or UTF-16), else "application/octet-stream".
std::string BodyType(std::string_view name, std::string_view first_bytes);

/// A type as the user gives it: "html", "js", "vbs" and "gif" stand for the full names.
std::string FullType(std::string_view type);

}  // namespace velmora::command
