// Checks of arguments: each answers what is wrong with a text, and nothing when it is good.
#pragma once

#include <string>

namespace velmora::command {

/// An IP address.
std::string CheckAddress(const std::string &text);
/// A character set that browsers know.
std::string CheckCharset(const std::string &text);
/// A content type, or one of the short names of `FullType`.
std::string CheckType(const std::string &text);
/// What the policy's clock shows: a day and a time.
std::string CheckTime(const std::string &text);
/// A URL with a host.
std::string CheckUrl(const std::string &text);

}  // namespace velmora::command
