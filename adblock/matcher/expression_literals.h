// The literal bytes that every match of a regular expression has.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmora::adblock {

/// Bytes, in lower case, that stand together in every match.
struct LiteralRun {
  std::string text;
  /// A match has them at the start, or the end, of what is searched.
  bool at_start;
  bool at_end;
};

/// The runs of an expression in the order in which a match has them. Some may be missing: little of
/// an expression is certain to be literal.
std::vector<LiteralRun> LiteralRunsOf(std::string_view expression);

}  // namespace velmora::adblock
