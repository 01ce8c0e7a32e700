// Lists of domain names within an image: what a rule is for, or not for.
#pragma once

#include <cstdint>
#include <string_view>

#include "image.h"

namespace velmora::adblock {

/// Is `host`, which lies within a `Url` or a `Page`, on the list of names with its head at `head`?
/// The longest name that fits decides; where none does, a list that only excludes says yes.
bool IsOnDomainList(const Image &image, std::uint32_t head, std::string_view host) noexcept;

}  // namespace velmora::adblock
