// Reads one line of a filter list.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "rule.h"
#include "string_arena.h"

namespace velmora::adblock {

/// Why a line makes no rule.
enum class Skip : std::uint8_t {
  kElementHiding,  // rules about elements of a page, not about URLs
  kScriptlet,      // rules that put scripts into a page
  kNeverAsked,     // only for what is no request
  kCondition,      // #if: lines for other programs
  kOption,         // an option that cannot be judged by a URL
  kExpression,     // a regular expression that cannot be compiled
  kTooGeneral,     // would match every URL
  kUnreadable,
};
inline constexpr std::size_t SKIP_COUNT = 8;
/// What a report calls the lines skipped, in the order of `Skip`.
inline constexpr std::array<const char *, SKIP_COUNT> SKIP_NAMES = {
    "element hiding",     "scriptlet",  "not about requests", "for other programs",
    "unsupported option", "expression", "too general",        "unreadable"};

/// Is there something wrong with the line, or is it only not for us?
constexpr bool IsError(Skip skip) noexcept {
  return skip == Skip::kUnreadable || skip == Skip::kExpression || skip == Skip::kTooGeneral;
}

enum class LineKind : std::uint8_t { kBlank, kComment, kRules, kSize, kNoSizes, kSkipped };

struct Size {
  std::uint16_t width;
  std::uint16_t height;

  friend constexpr bool operator<(const Size &a, const Size &b) noexcept {
    return a.width != b.width ? a.width < b.width : a.height < b.height;
  }
};

struct ParsedLine {
  LineKind kind = LineKind::kBlank;
  Skip skip{};
  Size size{};
  /// What was wrong with a line that is skipped; empty where the reason says it all.
  std::string_view detail;
  /// More than one only for a hosts line with several names.
  std::vector<Rule> rules;
};

/// Reads a list line by line: what an "#if" line or the list's header says holds for the lines
/// after it.
class LineParser {
 public:
  /// Strings that a rule needs and the list's text does not hold are kept in `arena`.
  explicit LineParser(StringArena &arena) : arena_(arena) {}

  /// What the line says: there until the next one is parsed.
  const ParsedLine &Parse(std::string_view line);

 private:
  void Read(std::string_view line);
  bool Directive(std::string_view line);
  bool ReadSize(std::string_view line);
  void ReadHosts(std::string_view line, std::string_view names);
  void ReadRule(std::string_view line);
  /// The part of a rule before its options. False: it has been skipped.
  bool ReadPattern(std::string_view pattern, Rule *rule);
  void SkipLine(Skip skip, std::string_view detail = {});
  bool IsHostAlone(std::string_view pattern) const noexcept;

  StringArena &arena_;
  ParsedLine parsed_;
  /// After a "[Adblock" header a bare host name is a piece of a URL, unless it ends in a
  /// top-level domain; elsewhere it is a host, unless it ends like a file.
  bool has_header_ = false;
  /// For every open "#if", whether its lines count.
  std::vector<bool> conditions_;
};

}  // namespace velmora::adblock
