// The host part of a URL.
#pragma once

#include <optional>
#include <string_view>

namespace velmora::platform {

/// The host of an absolute URL (`scheme://` is required), a view into it: without user information
/// and port, its letter case and brackets kept. None for a relative URL or an empty host.
std::optional<std::string_view> UrlHost(std::string_view url) noexcept;

}  // namespace velmora::platform
