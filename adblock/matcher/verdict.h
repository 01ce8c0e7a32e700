// What is said of an address.
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

/// What is said of an address in a page, whichever way it is used.
struct PageVerdicts {
  /// As what an element loads (`TYPES_ELEMENT`), and as what a link opens (`TYPE_POPUP`).
  Verdict element;
  Verdict link;
};

}  // namespace velmora::adblock
