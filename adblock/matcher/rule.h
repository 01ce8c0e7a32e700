// A rule as it is read from a line of a list, before it is compiled.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace velmora::adblock {

// What a rule does and where it applies.
inline constexpr std::uint16_t RULE_ALLOW = 1U << 0;
inline constexpr std::uint16_t RULE_IMPORTANT = 1U << 1;
/// Asked for the addresses of a page's elements: scripts, images, objects, frames, media, other.
inline constexpr std::uint16_t RULE_ELEMENT = 1U << 2;
/// Asked for the addresses that links open.
inline constexpr std::uint16_t RULE_POPUP = 1U << 3;
/// Only on pages of another (or of the same) registrable domain. Both: no condition.
inline constexpr std::uint16_t RULE_THIRD_PARTY = 1U << 4;
inline constexpr std::uint16_t RULE_FIRST_PARTY = 1U << 5;

// How its pattern is read.
inline constexpr std::uint16_t RULE_MATCH_CASE = 1U << 6;
/// "||": begins at the address's host or behind one of the host's dots.
inline constexpr std::uint16_t RULE_HOST_ANCHOR = 1U << 7;
inline constexpr std::uint16_t RULE_START_ANCHOR = 1U << 8;
inline constexpr std::uint16_t RULE_END_ANCHOR = 1U << 9;
/// The pattern is a regular expression.
inline constexpr std::uint16_t RULE_EXPRESSION = 1U << 10;
/// Takes the rule that is the same but for this flag out of force.
inline constexpr std::uint16_t RULE_BAD_FILTER = 1U << 11;

/// One name of a `domain=` list: the domain and all below it.
struct DomainName {
  std::string_view name;
  bool excluded;
  /// "name.*": the name under any public suffix.
  bool any_suffix;
};

/// The strings belong to the list's text or to the `StringArena` that the parser was given.
struct Rule {
  std::string_view text;
  std::string_view pattern;
  std::uint16_t flags = 0;
  std::uint16_t list = 0;
  std::uint32_t line = 0;
  /// Conditions on the page's host and on the address's.
  std::vector<DomainName> page_domains;
  std::vector<DomainName> address_domains;
};

/// Of two rules that match, the one of higher rank decides: allowing rules over blocking ones,
/// important rules over others.
constexpr unsigned RankOf(std::uint16_t flags) noexcept {
  return 1U + ((flags & RULE_ALLOW) ? 1U : 0U) + ((flags & RULE_IMPORTANT) ? 2U : 0U);
}

}  // namespace velmora::adblock
