// The host of a URL, as the hosts' programs read it: one strict reader for policy, log and proxy.
#pragma once

#include <string>
#include <string_view>

namespace velmora::host {

/// The host in "scheme://user@host:port/path" as browsers read it: in lower case, percent-encoding
/// taken off, numbers in the form of an address, brackets of an IPv6 address kept; a backslash is a
/// slash. Empty when there is none, or when the URL is not one that a browser would ask for: what
/// cannot be read is nobody's site. Names outside ASCII are not read: clients send them as
/// "xn--...".
std::string HostOfUrl(std::string_view url);

/// A text as a value in a query.
std::string EscapeForQuery(std::string_view text);
/// The text of such a value.
std::string Unescaped(std::string_view value);

}  // namespace velmora::host
