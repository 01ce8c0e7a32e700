// A number that tells threads apart well enough to spread them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velmora::adblock {

/// The stacks of threads lie apart, so a local variable's place is taken for it. Its higher bits
/// are cut off where there are fewer places.
inline std::size_t ThreadPlace() noexcept {
  const char here = 0;
  const auto place = reinterpret_cast<std::uintptr_t>(&here);
  return static_cast<std::size_t>(std::uint64_t{place >> 16} * 0x9E3779B97F4A7C15U >> 48);
}

}  // namespace velmora::adblock
