// What a saved body is: by its name, by its first bytes, or as the user says.
#pragma once

#include <string>
#include <string_view>

namespace velmora::command {

/// What a name's extensions say; each part is empty when they say nothing.
struct NamedBody {
  /// The content coding that ".gz", ".br" or ".zst" at the end stands for, as a header names it.
  std::string_view coding{};
  /// The name without that.
  std::string_view plain_name{};
  /// The content type (of ".html", ".js", ".vbs", ".gif" and the like).
  std::string_view type{};
};

NamedBody BodyOfName(std::string_view name) noexcept;

/// The content coding that the first bytes show; empty when they show none.
std::string_view CodingOfBytes(std::string_view first_bytes) noexcept;

/// The content type that the first bytes look like: a GIF, or what browsers take for a page of HTML
/// or XML, in UTF-16 too; empty when they look like nothing.
std::string_view TypeOfBytes(std::string_view first_bytes);

/// A type as the user gives it: "html", "js", "vbs" and "gif" stand for the full names.
std::string FullType(std::string_view type);

}  // namespace velmora::command
