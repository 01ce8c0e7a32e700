// What a line can be:
//
//   ! text, # text, [Adblock ...]     comment or header
//   !#if name, !#if !name, !#else, !#endif
//                                     no name is true here: the lines after "!#if name" up to
//                                     "!#else" or "!#endif" are for other programs
//   size:468x60, size:none            a size of advertisements; forget all sizes before this line
//   domain##selector, #@#, #?#, #$#   element hiding; "##+js(" a scriptlet
//   0.0.0.0 name...                   hosts file; also 127.0.0.1, :: and ::1
//   [@@]pattern[$options]             a rule; the pattern:
//     /expression/                      a regular expression
//     ||host...                         anchored at the host or after one of its dots
//     |...|                             anchored at the start, at the end
//     * ^                               any bytes; a separator or the end
//     host.name                         a host alone: ||host.name^
#include "line_parser.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "expression.h"
#include "host_names.h"
#include "options.h"
#include "text.h"

namespace velmora::adblock {
namespace {

/// Longer lines are no rules; the few that real lists have are for single web applications.
constexpr std::size_t MAX_LINE = std::size_t{32} << 10;

/// What stands after the "#" of an element-hiding rule; npos for no such rule.
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

/// The names of a hosts line: what stands after an address that leads nowhere.
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

/// Names that stand for this machine or its net in every hosts file.
bool IsLocalName(std::string_view name) noexcept {
  return base::EqualNoCase(name, "localhost.localdomain") || name == "0.0.0.0" ||
         name == "127.0.0.1" || name == "255.255.255.255";
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
  // After a host's anchor a star still keeps the scheme out.
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

const ParsedLine &LineParser::Parse(std::string_view line) {
  parsed_.kind = LineKind::kBlank;
  parsed_.detail = {};
  parsed_.rules.clear();
  Read(TrimSpace(line));
  return parsed_;
}

void LineParser::SkipLine(Skip skip, std::string_view detail) {
  parsed_.kind = LineKind::kSkipped;
  parsed_.skip = skip;
  parsed_.detail = detail;
  parsed_.rules.clear();
}

void LineParser::Read(std::string_view line) {
  if (line.empty()) return;
  if (line.size() > MAX_LINE) return SkipLine(Skip::kUnreadable, "the line is too long");
  parsed_.kind = LineKind::kComment;
  if (Directive(line)) return;
  if (std::find(conditions_.begin(), conditions_.end(), false) != conditions_.end()) {
    return SkipLine(Skip::kCondition);
  }
  if (line.front() == '!') return;
  if (line.front() == '[' && line.back() == ']') {
    has_header_ = has_header_ || line.starts_with("[Adblock");
    return;
  }
  const std::size_t hiding = FindElementHiding(line);
  if (hiding != std::string_view::npos) {
    const bool scriptlet =
        line.substr(hiding).starts_with("+js(") || line.substr(hiding).starts_with("//scriptlet(");
    return SkipLine(scriptlet ? Skip::kScriptlet : Skip::kElementHiding);
  }
  if (line.front() == '#') return;
  if (ReadSize(line)) return;
  if (const auto names = HostsNames(line)) return ReadHosts(line, *names);
  ReadRule(line);
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

bool LineParser::ReadSize(std::string_view line) {
  constexpr std::string_view PREFIX = "size:";
  if (!line.starts_with(PREFIX)) return false;
  line = TrimSpace(line.substr(PREFIX.size()));
  parsed_.kind = line == "none" ? LineKind::kNoSizes : LineKind::kSize;
  if (parsed_.kind == LineKind::kNoSizes) return true;
  const char *end = line.data() + line.size();
  Size size{};
  const auto width = std::from_chars(line.data(), end, size.width);
  bool is_size = width.ec == std::errc() && width.ptr != end && *width.ptr == 'x';
  if (is_size) {
    const auto height = std::from_chars(width.ptr + 1, end, size.height);
    is_size = height.ec == std::errc() && height.ptr == end && size.width != 0 && size.height != 0;
  }
  parsed_.size = size;
  if (!is_size) SkipLine(Skip::kUnreadable, "a size is written 468x60");
  return true;
}

void LineParser::ReadHosts(std::string_view line, std::string_view names) {
  while (!names.empty()) {
    const std::size_t end = std::min(names.find_first_of(" \t"), names.size());
    const std::string_view name = names.substr(0, end);
    names = TrimSpace(names.substr(end));
    // A name without a dot, such as "localhost", stands for no host outside.
    if (!IsHostName(name) || IsLocalName(name)) continue;
    Rule &rule = parsed_.rules.emplace_back();
    rule.text = line;
    rule.pattern = arena_.Join(HostSpelling(name, arena_), "^");
    rule.flags = RULE_HOST_ANCHOR;
  }
  parsed_.kind = LineKind::kRules;
  if (parsed_.rules.empty()) SkipLine(Skip::kUnreadable, "no host name outside this machine");
}

void LineParser::ReadRule(std::string_view line) {
  Rule &rule = parsed_.rules.emplace_back();
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
      return SkipLine(problem.skip, problem.option);
    }
    pattern = pattern.substr(0, options);
  }
  if (ReadPattern(pattern, &rule)) parsed_.kind = LineKind::kRules;
}

bool LineParser::ReadPattern(std::string_view pattern, Rule *rule) {
  if (std::any_of(pattern.begin(), pattern.end(), [](char byte) {
        return static_cast<std::uint8_t>(byte) <= ' ' || byte == 0x7F;
      })) {
    SkipLine(Skip::kUnreadable, "a space or a control character");
    return false;
  }
  if (pattern.size() > 2 && pattern.front() == '/' && pattern.back() == '/') {
    rule->pattern = pattern.substr(1, pattern.size() - 2);
    rule->flags |= RULE_EXPRESSION;
    const bool is_valid = Expression(rule->pattern, rule->flags & RULE_MATCH_CASE).IsValid();
    if (!is_valid) SkipLine(Skip::kExpression, rule->pattern);
    return is_valid;
  }
  if (IsHostAlone(pattern)) {
    rule->flags |= RULE_HOST_ANCHOR;
    rule->pattern = arena_.Join(HostSpelling(pattern, arena_), "^");
    return true;
  }
  ReadAnchors(&pattern, rule);
  // What matches every URL would empty pages; of what is none of their content it may speak.
  constexpr std::uint16_t CONTENT = TYPES_ELEMENT | TYPE_STYLESHEET | TYPE_DOCUMENT;
  if (SaysNothing(pattern) && (rule->types & CONTENT) != 0 && rule->page_domains.empty() &&
      rule->url_domains.empty()) {
    SkipLine(Skip::kTooGeneral);
    return false;
  }
  if ((rule->flags & RULE_HOST_ANCHOR) && IsBeyondAscii(pattern)) {
    const std::size_t end = std::min(pattern.find_first_of("/^*:?|"), pattern.size());
    if (IsBeyondAscii(pattern.substr(0, end))) {
      pattern = arena_.Join(HostSpelling(pattern.substr(0, end), arena_), pattern.substr(end));
    }
  }
  const bool is_changed = !(rule->flags & RULE_MATCH_CASE) && HasUpper(pattern);
  rule->pattern = is_changed ? arena_.KeepLower(pattern) : pattern;
  return true;
}

/// "ads.js" in a list of URLs is a piece of one, and so is "ads.example" where lists say what
/// they mean by a host; "ads.example.com" is a host wherever it stands alone.
bool LineParser::IsHostAlone(std::string_view pattern) const noexcept {
  if (!IsHostName(pattern)) return false;
  return has_header_ ? HasKnownEnd(pattern) : !LooksLikeFileName(pattern);
}

}  // namespace velmora::adblock
