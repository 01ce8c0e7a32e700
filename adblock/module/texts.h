// Texts that cross the library's interface.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace velmora::adblock {

/// Into `size` bytes, with a NUL at the end; no room, no text.
inline void CopyText(std::string_view from, char *text, std::size_t size) noexcept {
  if (!text || size == 0) return;
  const std::size_t length = std::min(from.size(), size - 1);
  std::memcpy(text, from.data(), length);
  text[length] = '\0';
}

}  // namespace velmora::adblock
