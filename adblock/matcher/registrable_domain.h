// Registrable domains: what belongs to one owner, by the list of public suffixes.
#pragma once

#include <string_view>

namespace velmora::adblock {

/// Do two host names, in lower case, belong to different owners? An unknown (empty) page host is a
/// third party to every URL.
bool IsThirdParty(std::string_view page_host, std::string_view url_host) noexcept;

/// `host` without its public suffix and the dot before it; empty when nothing is left.
std::string_view WithoutPublicSuffix(std::string_view host) noexcept;

/// Is it, in any letter case, on the list of public suffixes?
bool IsPublicSuffix(std::string_view name) noexcept;

/// Tells one state of the list of public suffixes from another.
std::string_view PublicSuffixVersion() noexcept;

}  // namespace velmora::adblock
