// Addresses of a page made absolute.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

/// `url` as it stands on a page with the address `page_url` on `host`. "http:", "mailto:" and
/// "javascript:" addresses are complete; every other one, those with another scheme included, is
/// taken as relative. "." and ".." are not resolved.
std::string MakeAbsoluteUrl(std::string_view host, std::string_view page_url, std::string_view url);

}  // namespace velmora
