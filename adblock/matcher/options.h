// The options after the "$" of a rule.
#pragma once

#include <string_view>

#include "line_parser.h"
#include "rule.h"

namespace velmora::adblock {

/// Where the "$" stands that begins a rule's options, or npos. A "$" may also be part of a URL
/// or an expression: options begin where all that follows reads as options, or where a known one
/// stands.
std::size_t FindOptions(std::string_view rule) noexcept;

struct OptionProblem {
  Skip skip;
  /// The option that was the trouble.
  std::string_view option;
};

/// Reads the options into `rule`. True, or `*problem` says why the rule has to be skipped.
bool ReadOptions(std::string_view options, StringArena &arena, Rule *rule, OptionProblem *problem);

}  // namespace velmora::adblock
