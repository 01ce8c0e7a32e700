// The content type of a saved body, by its name or its first bytes.
#pragma once

#include <string>
#include <string_view>

namespace velmora::command {

/// The type that a name's extension says (".html", ".js", ".vbs", ".gif" and the like); empty when
/// it says none.
std::string_view TypeOfName(std::string_view name) noexcept;

/// The type that the bytes look like: a GIF, an HTML page in ASCII, UTF-8 or UTF-16, else
/// "application/octet-stream".
std::string_view TypeOfBytes(std::string_view first_bytes);

/// A type as the user gives it: "html", "js", "vbs" and "gif" stand for the full names.
std::string FullType(std::string_view type);

}  // namespace velmora::command
