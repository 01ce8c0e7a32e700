// ContentType: a Content-Type value taken apart, as far as a host has to know it.
#pragma once

#include <string>
#include <string_view>

namespace velmora::host {

/// "text/html; charset=utf-8": the type, and its parameters as they stand. The views lie in the
/// value that was taken apart.
struct ContentType {
  explicit ContentType(std::string_view value) noexcept;

  /// Equal to a type in lower case, letter case aside.
  bool Is(std::string_view type_in_lower_case) const noexcept;
  /// The value of the first charset parameter, without quotes; empty when there is none.
  std::string_view Charset() const noexcept;
  /// The value with another charset: the first charset parameter replaced, or one added.
  std::string WithCharset(std::string_view charset) const;

  /// "text/html", without white space around it.
  std::string_view type;
  /// "; charset=utf-8"; empty when there is nothing behind the type.
  std::string_view parameters;
};

/// The value with the type under which the plug-in knows this kind of body. The names that browsers
/// take for JavaScript, VBScript and HTML are many; the parameters are kept.
std::string WithKnownType(std::string_view content_type);

}  // namespace velmora::host
