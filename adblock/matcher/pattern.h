// Patterns of rules: literal bytes, "*" for any bytes, "^" for a separator or the address's end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "address.h"

namespace velmora::adblock {

/// Says that a pattern has to be looked for everywhere that its anchor allows.
inline constexpr std::size_t ANYWHERE = static_cast<std::size_t>(-1);

/// Does `pattern`, without its anchors, which are in `flags` (RULE_HOST_ANCHOR and so on), match
/// the address? `start` is the only place where it can begin, or `ANYWHERE`.
bool MatchPattern(const Address &address, std::string_view pattern, std::uint16_t flags,
                  std::size_t start) noexcept;

/// A piece of a pattern that stands as a whole token in every address that the pattern matches:
/// bytes on both of its sides bound it. Addresses are taken apart into tokens in the same way. Or,
/// with `is_prefix`, the first `TOKEN_PREFIX` bytes of such a token, of which only the start is
/// bound.
struct PatternToken {
  std::string text;
  bool is_prefix;
  /// Where the token begins in the pattern when every match has it there, else `ANYWHERE`.
  std::size_t offset;
};

inline constexpr std::size_t TOKEN_PREFIX = 6;

std::vector<PatternToken> TokensOfPattern(std::string_view pattern, std::uint16_t flags);
/// The same for a regular expression; few, because little of it is certain to be literal.
std::vector<PatternToken> TokensOfExpression(std::string_view expression);
/// The host with which a pattern that is anchored there begins, if it is there as a whole.
std::string_view HostOfPattern(std::string_view pattern, std::uint16_t flags) noexcept;

}  // namespace velmora::adblock
