// What is said of a URL.
#pragma once

#include <cstdint>

namespace velmora::adblock {

struct Verdict {
  enum class Kind : std::uint8_t { kNone, kBlocked, kAllowed };
  static constexpr std::uint32_t NO_RULE = ~0U;

  Kind kind = Kind::kNone;
  /// The rule that decided.
  std::uint32_t rule = NO_RULE;
};

}  // namespace velmora::adblock
