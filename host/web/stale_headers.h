// Headers that do not hold any more when a body was filtered.
#pragma once

namespace velmora::host {

/// Besides Content-Length, which hosts have ways of their own for. Content-Range stands in a part
/// that nobody asked for, which browsers show as the whole.
inline constexpr const char *STALE_HEADERS[] = {
    "Content-Encoding", "ETag",        "Content-MD5",   "Digest",
    "Content-Digest",   "Repr-Digest", "Accept-Ranges", "Content-Range",
};

}  // namespace velmora::host
