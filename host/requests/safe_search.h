// Safe search: how a request is changed so that a search engine leaves out what is not for
// everyone.
//
// Each engine's own documented way: a field of the query, a header, and, for an encrypted tunnel
// that nobody looks into, the host that answers for the same name with the filter on.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "host/policy/policy.h"

namespace velmora::host {

/// What is changed in a request that is made.
struct RequestChange {
  /// In the place of the request's own: absolute, or "host:port" with CONNECT; empty: it stays.
  std::string url{};
  /// A header that takes the place of all of that name; an empty name: none.
  std::pair<std::string_view, std::string_view> header{};
};

/// None where the request is no search of an engine that is known. The URL is "host:port" with
/// CONNECT.
std::optional<RequestChange> SafeSearchFor(SafeSearch wanted, std::string_view method,
                                           std::string_view url);

}  // namespace velmora::host
