// What an attribute's value holds, where quotes may be part of it.
#pragma once

#include <string_view>

#include "core/strings.h"

namespace velmora {

/// Without the quotes that it is written in: a handler, or a policy, may end in quotes of its own.
inline std::string_view InnerValue(std::string_view value) noexcept {
  const bool is_quoted =
      value.size() >= 2 && IsQuote(value.front()) && value.back() == value.front();
  return is_quoted ? value.substr(1, value.size() - 2) : value;
}

}  // namespace velmora
