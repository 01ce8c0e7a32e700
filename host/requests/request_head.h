// RequestHead: what a request says of itself, as far as it is judged by it.
#pragma once

#include <cstddef>
#include <string_view>

#include "host/policy/asked.h"

namespace velmora::host {

/// The headers that requests are judged by.
enum class RequestHeader {
  REFERER,
  ORIGIN,
  ACCEPT,
  ACCEPT_LANGUAGE,
  CONTENT_TYPE,
  PING_FROM,
  REQUESTED_WITH,
  UPGRADE,
  FETCH_DEST,
  FETCH_MODE,
  FETCH_SITE,
  PURPOSE,
};

/// By `RequestHeader`.
inline constexpr const char *REQUEST_HEADER_NAMES[] = {
    "Referer",        "Origin",         "Accept",           "Accept-Language",
    "Content-Type",   "Ping-From",      "X-Requested-With", "Upgrade",
    "Sec-Fetch-Dest", "Sec-Fetch-Mode", "Sec-Fetch-Site",   "Sec-Purpose",
};

constexpr std::size_t IndexOf(RequestHeader header) noexcept {
  return static_cast<std::size_t>(header);
}

/// The headers of one request. Reading one has a proxy look for it and copy it, and most requests
/// are judged by three: each is read when it is asked for.
class RequestHeaders {
 public:
  virtual ~RequestHeaders() = default;

  /// Empty when it is not there. The text is good for as long as this is.
  virtual std::string_view Value(RequestHeader header) const = 0;
};

/// The texts are the caller's.
struct RequestHead {
  std::string_view method{};
  /// Absolute, or "host:port" with CONNECT.
  std::string_view url{};
  Asker who{};
  bool has_body = false;
  const RequestHeaders &headers;

  std::string_view operator[](RequestHeader header) const { return headers.Value(header); }
};

}  // namespace velmora::host
