// Patterns of rules: literal bytes, "*" for any bytes, "^" for a separator or the URL's end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "effort.h"
#include "expression_literals.h"
#include "url.h"

namespace velmora::adblock {

/// Says that a pattern has to be looked for everywhere that its anchor allows.
inline constexpr std::size_t ANYWHERE = static_cast<std::size_t>(-1);

enum class Match : std::uint8_t {
  kNo,        // not where it was tried
  kNotAfter,  // nor anywhere after that place
  kYes,
};

/// Does `pattern`, without its anchors, which are in `flags` (RULE_HOST_ANCHOR and so on), match
/// the URL? `start` is the only place where it can begin, or `ANYWHERE`.
Match MatchPattern(const Url &url, std::string_view pattern, std::uint16_t flags, std::size_t start,
                   Effort *effort) noexcept;

/// A piece of a pattern that every URL that the pattern matches has, with the bytes that stand
/// beside it there.
struct PatternPiece {
  std::string_view text;
  /// Where it begins in the pattern when every match has it there, else `ANYWHERE`.
  std::size_t offset;
  /// Zero where any byte can stand.
  char before;
  /// As many as are certain, at most 8.
  std::string_view after;
};
using PatternPieces = std::vector<PatternPiece>;

/// Adds the pieces that are whole tokens in every match, bytes on both of their sides bounding
/// them, or the first `TOKEN_SIZE` bytes of a token. URLs are taken apart in the same way. A
/// pattern that heeds letter case is given in lower case. What is added are views of what is given.
void AddTokensOfPattern(std::string_view pattern, std::uint16_t flags, PatternPieces *pieces);
/// The same for a regular expression; few, because little of it is certain to be literal.
void AddTokensOfExpression(const std::vector<LiteralRun> &runs, PatternPieces *pieces);
/// The host with which a pattern that is anchored there begins, if it is there as a whole.
std::optional<PatternPiece> HostOfPattern(std::string_view pattern, std::uint16_t flags);

}  // namespace velmora::adblock
