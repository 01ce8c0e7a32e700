// A pattern is a row of segments with stars between them. A segment matches at one place or not,
// so that the first place found for each segment is as good as any other, and only the first one
// (tried at each place that its anchor allows) and the last one (at the end, if it is anchored
// there) are bound. So where the first one matched and the rest did not, it will not for a later
// place of the first one either.
#include "pattern.h"

#include <algorithm>
#include <cstring>

#include "rule.h"
#include "text.h"

namespace velmora::adblock {
namespace {

constexpr std::size_t NO_MATCH = static_cast<std::size_t>(-1);

/// The end of `segment` in `text` when it stands at `at`. A star ends the segment; `*rest` is the
/// pattern after it, or null when there is none.
inline std::size_t MatchSegment(std::string_view text, std::size_t at, std::string_view segment,
                                const char **rest = nullptr) noexcept {
  for (const char &wanted : segment) {
    if (at < text.size() && wanted == text[at] && wanted != '*') {
      ++at;
    } else if (wanted == '^' && (at == text.size() || IsByte(text[at], BYTE_SEPARATOR))) {
      if (at < text.size()) ++at;
    } else if (wanted == '*' && rest) {
      *rest = &wanted + 1;
      return at;
    } else {
      return NO_MATCH;
    }
  }
  return at;
}

/// The end of the first occurrence of `segment` at or after `at`.
std::size_t FindSegment(std::string_view text, std::size_t at, std::string_view segment,
                        Effort *effort) noexcept {
  if (segment.empty()) return at;
  const std::size_t literal = std::min(segment.find('^'), segment.size());
  effort->Spend(16 + (text.size() - at) / 4);
  for (; at <= text.size(); ++at) {
    if (literal > 0) {
      at = FindBytes(text, segment.substr(0, literal), at);
      if (at == std::string_view::npos) return NO_MATCH;
    }
    const std::size_t end = MatchSegment(text, at, segment);
    if (end != NO_MATCH) return end;
    effort->Spend(literal > 0 ? 16 : 2);
  }
  return NO_MATCH;
}

/// Does `segment` stand at the end of `text`, not before `at`?
bool EndsWithSegment(std::string_view text, std::size_t at, std::string_view segment) noexcept {
  // Carets at the end of the segment may stand for the end of the text.
  for (std::size_t size = segment.size();; --size) {
    if (text.size() >= at + size &&
        MatchSegment(text, text.size() - size, segment) == text.size()) {
      return true;
    }
    if (size == 0 || segment[size - 1] != '^') return false;
  }
}

/// The segments of `pattern` after its first star, from `at` on.
bool MatchRest(std::string_view text, std::size_t at, std::string_view pattern, bool to_end,
               Effort *effort) noexcept {
  while (true) {
    const std::size_t star = pattern.find('*');
    if (star == std::string_view::npos) {
      return to_end ? EndsWithSegment(text, at, pattern)
                    : FindSegment(text, at, pattern, effort) != NO_MATCH;
    }
    at = FindSegment(text, at, pattern.substr(0, star), effort);
    if (at == NO_MATCH) return false;
    pattern.remove_prefix(star + 1);
  }
}

bool IsHostStart(const Url &url, std::string_view text, std::size_t at) noexcept {
  return at == url.HostStart() ||
         (at > url.HostStart() && at < url.HostEnd() && text[at - 1] == '.');
}

std::size_t EndOfToken(std::string_view text, std::size_t at) noexcept {
  while (at < text.size() && IsByte(text[at], BYTE_TOKEN)) ++at;
  return at;
}

/// The piece [start, end) of `text`, which is a pattern or the literal bytes of an expression.
PatternPiece PieceOf(std::string_view text, std::size_t start, std::size_t end,
                     std::size_t offset) {
  const auto is_wild = [](char byte) { return byte == '*' || byte == '^'; };
  const char before = start > 0 ? text[start - 1] : '^';
  const std::size_t most = std::min(end + 8, text.size());
  std::size_t after = end;
  while (after < most && !is_wild(text[after])) ++after;
  return {text.substr(start, end - start), offset, is_wild(before) ? '\0' : before,
          text.substr(end, after - end)};
}

/// Adds the token [start, end) of `text`, as far as its sides are bound.
void AddToken(std::string_view text, std::size_t start, std::size_t end, bool bound_before,
              bool bound_after, std::size_t offset, PatternPieces *pieces) {
  if (!bound_before || (!bound_after && end - start < TOKEN_SIZE)) return;
  pieces->push_back(PieceOf(text, start, std::min(end, start + TOKEN_SIZE), offset));
}

}  // namespace

Match MatchPattern(const Url &url, std::string_view pattern, std::uint16_t flags, std::size_t start,
                   Effort *effort) noexcept {
  const std::string_view text = (flags & RULE_MATCH_CASE) ? url.Original() : url.Lowered();
  const bool to_end = (flags & RULE_END_ANCHOR) != 0;

  const auto match_at = [&](std::size_t at) noexcept {
    const char *rest = nullptr;
    const std::size_t end = MatchSegment(text, at, pattern, &rest);
    if (end == NO_MATCH) return Match::kNo;
    if (!rest) return to_end && end != text.size() ? Match::kNo : Match::kYes;
    const std::string_view after(rest, static_cast<std::size_t>(pattern.end() - rest));
    return MatchRest(text, end, after, to_end, effort) ? Match::kYes : Match::kNotAfter;
  };

  if (flags & RULE_HOST_ANCHOR) {
    if (start != ANYWHERE) {
      return IsHostStart(url, text, start) ? match_at(start) : Match::kNo;
    }
    for (std::size_t at = url.HostStart(); at < url.HostEnd();) {
      effort->Spend(16);
      const Match match = match_at(at);
      if (match != Match::kNo) return match;
      const std::size_t dot = text.find('.', at);
      if (dot == std::string_view::npos) break;
      at = dot + 1;
    }
    return Match::kNotAfter;
  }
  if (flags & RULE_START_ANCHOR) {
    return (start == ANYWHERE || start == 0) && match_at(0) == Match::kYes ? Match::kYes
                                                                           : Match::kNotAfter;
  }
  if (start != ANYWHERE) return match_at(start);
  return MatchRest(text, 0, pattern, to_end, effort) ? Match::kYes : Match::kNotAfter;
}

void AddTokensOfPattern(std::string_view pattern, std::uint16_t flags, PatternPieces *pieces) {
  bool after_star = false;
  for (std::size_t at = 0; at < pattern.size();) {
    if (!IsByte(pattern[at], BYTE_TOKEN)) {
      after_star = after_star || pattern[at] == '*';
      ++at;
      continue;
    }
    const std::size_t end = EndOfToken(pattern, at);
    const bool bound_before =
        at == 0 ? (flags & (RULE_HOST_ANCHOR | RULE_START_ANCHOR)) != 0 : pattern[at - 1] != '*';
    const bool bound_after =
        end == pattern.size() ? (flags & RULE_END_ANCHOR) != 0 : pattern[end] != '*';
    AddToken(pattern, at, end, bound_before, bound_after, after_star ? ANYWHERE : at, pieces);
    at = end;
  }
}

void AddTokensOfExpression(const std::vector<LiteralRun> &runs, PatternPieces *pieces) {
  for (const LiteralRun &run : runs) {
    const std::string_view text = run.text;
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t end = EndOfToken(text, at);
      if (end == at) {
        ++at;
        continue;
      }
      AddToken(text, at, end, at > 0 || run.at_start, end < text.size() || run.at_end, ANYWHERE,
               pieces);
      at = end;
    }
  }
}

std::optional<PatternPiece> HostOfPattern(std::string_view pattern, std::uint16_t flags) {
  if (!(flags & RULE_HOST_ANCHOR)) return std::nullopt;
  std::size_t end = 0;
  if (pattern.starts_with('[')) {
    end = std::min(pattern.find(']'), pattern.size() - 1) + 1;
  } else {
    while (end < pattern.size() && IsByte(pattern[end], BYTE_HOST)) ++end;
  }
  const bool whole = end < pattern.size() ? pattern[end] == '^' || pattern[end] == '/'
                                          : (flags & RULE_END_ANCHOR) != 0;
  // A URL's host has no final dot.
  if (!whole || end == 0 || pattern[end - 1] == '.') return std::nullopt;
  return PieceOf(pattern, 0, end, 0);
}

}  // namespace velmora::adblock
