// RequestHead: what a request says of itself, as far as it is judged by it.
#pragma once

#include <string_view>

namespace velmora::host {

/// The texts are the caller's. A header that is not there is empty.
struct RequestHead {
  std::string_view method{};
  /// Absolute, or "host:port" with CONNECT.
  std::string_view url{};
  /// Empty when unknown.
  std::string_view client{};
  bool has_body = false;

  std::string_view referer{};
  std::string_view origin{};
  std::string_view accept{};
  std::string_view accept_language{};
  std::string_view content_type{};
  std::string_view ping_from{};
  std::string_view range{};
  std::string_view requested_with{};
  std::string_view upgrade{};
  std::string_view fetch_dest{};
  std::string_view fetch_mode{};
  std::string_view fetch_site{};
  std::string_view purpose{};
};

struct RequestHeader {
  const char *name;
  std::string_view RequestHead::*value;
};

/// The headers that an adapter is to hand over.
inline constexpr RequestHeader REQUEST_HEADERS[] = {
    {"Referer", &RequestHead::referer},
    {"Origin", &RequestHead::origin},
    {"Accept", &RequestHead::accept},
    {"Accept-Language", &RequestHead::accept_language},
    {"Content-Type", &RequestHead::content_type},
    {"Ping-From", &RequestHead::ping_from},
    {"Range", &RequestHead::range},
    {"X-Requested-With", &RequestHead::requested_with},
    {"Upgrade", &RequestHead::upgrade},
    {"Sec-Fetch-Dest", &RequestHead::fetch_dest},
    {"Sec-Fetch-Mode", &RequestHead::fetch_mode},
    {"Sec-Fetch-Site", &RequestHead::fetch_site},
    {"Sec-Purpose", &RequestHead::purpose},
};

}  // namespace velmora::host
