// What a body without a type looks like, to the MIME Sniffing Standard.
#pragma once

#include <cstddef>
#include <string_view>

namespace velmora::host {

/// Only so much of a body is looked at.
inline constexpr std::size_t SNIFFED_BYTES = 1445;

enum class Sniffed {
  /// The bytes that come next decide.
  UNDECIDED,
  HTML,
  XML,
  /// No browser takes it for a page.
  OTHER,
};

/// What a body is that begins with `bytes`, and ends with them if `is_all`.
Sniffed SniffPage(std::string_view bytes, bool is_all) noexcept;

}  // namespace velmora::host
