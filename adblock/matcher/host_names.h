// Host names as lists and URLs spell them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "string_arena.h"

namespace velmora::adblock {

/// No name of a host is longer.
inline constexpr std::size_t MAX_HOST = 255;

/// Is it a whole host name in its usual form: an IPv4 address, or labels with dots between them?
/// Letters beyond ASCII belong to labels.
bool IsHostName(std::string_view text) noexcept;

/// Does the name end in one that is known to exist: a top-level domain, or an IP address's number?
bool HasKnownEnd(std::string_view host_name) noexcept;
/// Does the name end like that of a file, "ads.js", and in no known top-level domain?
bool LooksLikeFileName(std::string_view host_name) noexcept;

/// Has `host` bytes that requests spell otherwise?
bool IsBeyondAscii(std::string_view host) noexcept;
/// The spelling that requests have for a host with letters beyond ASCII ("xn--..."), in lower case.
/// Nothing for what is no host name in UTF-8.
std::optional<std::string> AsciiSpelling(std::string_view host);
/// A host's name or the end of one in the spelling of requests; itself where it is that already, or
/// has none. What has to be made is kept in `arena`.
std::string_view HostSpelling(std::string_view host, StringArena &arena);

}  // namespace velmora::adblock
