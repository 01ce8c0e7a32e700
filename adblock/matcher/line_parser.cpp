// What a line can be:
//
//   ! text, # text, [Adblock ...]     comment or header
//   !#if name, !#if !name, !#else, !#endif
//                                     no name is true here: the lines behind "!#if name" up to
//                                     "!#else" or "!#endif" are for other programs
//   size:468x60, size:none            a size of advertisements; forget all sizes before this line
//   domain##selector, #@#, #?#, #$#   element hiding; "##+js(" a scriptlet
//   0.0.0.0 name...                   hosts file; also 127.0.0.1, :: and ::1
//   [@@]pattern[$options]             a rule; the pattern:
//     /expression/                      a regular expression
//     ||host...                         anchored at the host or behind one of its dots
//     |...|                             anchored at the start, at the end
//     * ^                               any bytes; a separator or the end
//     host.name                         in a list without an [Adblock] header: ||host.name^
#include "line_parser.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "expression.h"
#include "options.h"
#include "registrable_domain.h"
#include "text.h"

namespace velmora::adblock {
namespace {

/// Longer lines are no rules; the few that real lists have are for single web applications.
constexpr std::size_t MAX_LINE = std::size_t{32} << 10;

ParsedLine Skipped(Skip skip, std::string_view detail = {}) {
  ParsedLine parsed;
  parsed.kind = LineKind::kSkipped;
  parsed.skip = skip;
  parsed.detail = detail;
  return parsed;
}

/// What stands behind the "#" of an element-hiding rule; npos for no such rule.
std::size_t FindElementHiding(std::string_view line) noexcept {
  if (line.starts_with('|') || line.starts_with("@@|")) return std::string_view::npos;
  for (std::size_t at = line.find('#'); at != std::string_view::npos; at = line.find('#', at + 1)) {
    std::size_t end = at + 1;
    while (end < line.size() &&
           std::string_view("@?$%").find(line[end]) != std::string_view::npos) {
      ++end;
    }
    if (end < line.size() && line[end] == '#') return end + 1;
  }
  return std::string_view::npos;
}

std::optional<ParsedLine> ParseSize(std::string_view line) {
  constexpr std::string_view PREFIX = "size:";
  if (!line.starts_with(PREFIX)) return std::nullopt;
  line = TrimSpace(line.substr(PREFIX.size()));
  ParsedLine parsed;
  parsed.kind = LineKind::kNoSizes;
  if (line == "none") return parsed;
  parsed.kind = LineKind::kSize;
  const char *end = line.data() + line.size();
  const auto width = std::from_chars(line.data(), end, parsed.size.width);
  if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x') {
    return Skipped(Skip::kUnreadable, "a size is written 468x60");
  }
  const auto height = std::from_chars(width.ptr + 1, end, parsed.size.height);
  if (height.ec != std::errc() || height.ptr != end || !parsed.size.width || !parsed.size.height) {
    return Skipped(Skip::kUnreadable, "a size is written 468x60");
  }
  return parsed;
}

/// The names of a hosts line: what stands behind an address that leads nowhere.
std::optional<std::string_view> HostsNames(std::string_view line) noexcept {
  for (const std::string_view address : {"0.0.0.0", "127.0.0.1", "::1", "::"}) {
    if (!line.starts_with(address)) continue;
    const std::string_view names = line.substr(address.size());
    if (names.starts_with(' ') || names.starts_with('\t')) {
      return TrimSpace(names.substr(0, names.find('#')));
    }
  }
  return std::nullopt;
}

std::string ToLower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), base::ToLowerAscii);
  return lower;
}

/// Takes the anchors off and the stars that say nothing.
void ReadAnchors(std::string_view *pattern, Rule *rule) noexcept {
  if (pattern->starts_with("||")) {
    rule->flags |= RULE_HOST_ANCHOR;
    pattern->remove_prefix(2);
  } else if (pattern->starts_with('|')) {
    rule->flags |= RULE_START_ANCHOR;
    pattern->remove_prefix(1);
  }
  if (pattern->ends_with('|')) {
    rule->flags |= RULE_END_ANCHOR;
    pattern->remove_suffix(1);
  }
  // Behind a host's anchor a star still keeps the scheme out.
  while (!(rule->flags & RULE_HOST_ANCHOR) && pattern->starts_with('*')) {
    rule->flags &= static_cast<std::uint16_t>(~RULE_START_ANCHOR);
    pattern->remove_prefix(1);
  }
  while (pattern->ends_with('*')) {
    rule->flags &= static_cast<std::uint16_t>(~RULE_END_ANCHOR);
    pattern->remove_suffix(1);
  }
}

/// A pattern without a byte of its own matches wherever a separator, or anything, stands.
bool SaysNothing(std::string_view pattern) noexcept {
  return pattern.find_first_not_of("*^|") == std::string_view::npos;
}

}  // namespace

ParsedLine LineParser::Parse(std::string_view line) {
  line = TrimSpace(line);
  ParsedLine parsed;
  if (line.empty()) return parsed;
  if (line.size() > MAX_LINE) return Skipped(Skip::kUnreadable, "the line is too long");
  if (Directive(line)) {
    parsed.kind = LineKind::kComment;
    return parsed;
  }
  if (std::find(conditions_.begin(), conditions_.end(), false) != conditions_.end()) {
    return Skipped(Skip::kCondition);
  }
  parsed.kind = LineKind::kComment;
  if (line.front() == '!') return parsed;
  if (line.front() == '[' && line.back() == ']') {
    has_header_ = has_header_ || line.starts_with("[Adblock");
    return parsed;
  }
  const std::size_t hiding = FindElementHiding(line);
  if (hiding != std::string_view::npos) {
    const bool scriptlet =
        line.substr(hiding).starts_with("+js(") || line.substr(hiding).starts_with("//scriptlet(");
    return Skipped(scriptlet ? Skip::kScriptlet : Skip::kElementHiding);
  }
  if (line.front() == '#') return parsed;
  if (auto size = ParseSize(line)) return *size;
  if (const auto names = HostsNames(line)) return ParseHosts(line, *names);
  return ParseRule(line);
}

bool LineParser::Directive(std::string_view line) {
  if (!line.starts_with("!#")) return false;
  line.remove_prefix(2);
  if (line.starts_with("if ")) {
    const std::string_view name = TrimSpace(line.substr(3));
    conditions_.push_back(name.starts_with('!') && name.find_first_of("&|") == name.npos);
  } else if (line == "else" && !conditions_.empty()) {
    conditions_.back() = !conditions_.back();
  } else if (line == "endif" && !conditions_.empty()) {
    conditions_.pop_back();
  }
  return true;
}

ParsedLine LineParser::ParseHosts(std::string_view line, std::string_view names) {
  ParsedLine parsed;
  parsed.kind = LineKind::kRules;
  while (!names.empty()) {
    const std::size_t end = std::min(names.find_first_of(" \t"), names.size());
    const std::string_view name = names.substr(0, end);
    names = TrimSpace(names.substr(end));
    // "localhost" and its like belong to every hosts file and stand for no host outside.
    if (!IsHostName(name)) continue;
    Rule rule;
    rule.text = line;
    rule.pattern = arena_.Keep(ToLower(name) + '^');
    rule.flags = RULE_ELEMENT | RULE_HOST_ANCHOR;
    parsed.rules.push_back(std::move(rule));
  }
  return parsed.rules.empty() ? Skipped(Skip::kUnreadable, "no host name outside this machine")
                              : parsed;
}

ParsedLine LineParser::ParseRule(std::string_view line) {
  Rule rule;
  rule.text = line;
  std::string_view pattern = line;
  if (pattern.starts_with("@@")) {
    rule.flags |= RULE_ALLOW;
    pattern.remove_prefix(2);
  }
  const std::size_t options = FindOptions(pattern);
  if (options != std::string_view::npos) {
    OptionProblem problem{};
    if (!ReadOptions(pattern.substr(options + 1), arena_, &rule, &problem)) {
      return Skipped(problem.skip, problem.option);
    }
    pattern = pattern.substr(0, options);
  } else {
    rule.flags |= RULE_ELEMENT;
  }
  if (std::any_of(pattern.begin(), pattern.end(), [](char byte) {
        return static_cast<std::uint8_t>(byte) <= ' ' || byte == 0x7F;
      })) {
    return Skipped(Skip::kUnreadable, "a space or a control character");
  }

  if (pattern.size() > 2 && pattern.front() == '/' && pattern.back() == '/') {
    pattern = pattern.substr(1, pattern.size() - 2);
    rule.flags |= RULE_EXPRESSION;
    if (!Expression(pattern, rule.flags & RULE_MATCH_CASE).IsValid()) {
      return Skipped(Skip::kExpression, pattern);
    }
    rule.pattern = pattern;
  } else {
    const bool bare_host = !has_header_ && IsHostName(pattern);
    ReadAnchors(&pattern, &rule);
    if (SaysNothing(pattern) && rule.page_domains.empty() && rule.address_domains.empty()) {
      return Skipped(Skip::kTooGeneral);
    }
    std::string changed(rule.flags & RULE_MATCH_CASE ? std::string(pattern) : ToLower(pattern));
    if (bare_host) {
      rule.flags |= RULE_HOST_ANCHOR;
      changed += '^';
    }
    rule.pattern = changed == pattern ? pattern : arena_.Keep(std::move(changed));
  }
  ParsedLine parsed;
  parsed.kind = LineKind::kRules;
  parsed.rules.push_back(std::move(rule));
  return parsed;
}

}  // namespace velmora::adblock
