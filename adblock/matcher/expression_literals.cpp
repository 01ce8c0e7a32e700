// An expression is read from left to right at its outermost level:
//
//   literal, \literal     belongs to the run, unless "*", "?" or "{" follows: then it may be absent
//   literal+              belongs to the run and ends it
//   (...) [...] . \d $    end the run: what they match is not known; so does {...}
//   ^ first, $ last       the run beside them is at the start or the end
//   |, \Q, \x, \p ...     no run is certain
//
// Bytes beyond ASCII end a run, as they have several spellings where letter case does not count.
#include "expression_literals.h"

#include "text.h"

namespace velmora::adblock {
namespace {

constexpr std::size_t NO_END = std::string_view::npos;

/// The place after the class "[...]" that begins at `at`.
std::size_t EndOfClass(std::string_view expression, std::size_t at) noexcept {
  ++at;
  if (expression.substr(at, 1) == "^") ++at;
  // A bracket that comes first is a member.
  if (expression.substr(at, 1) == "]") ++at;
  while (at < expression.size() && expression[at] != ']') {
    if (expression.substr(at, 2) == "[:") {
      at = expression.find(":]", at);
      if (at == NO_END) return NO_END;
      at += 2;
    } else {
      at += expression[at] == '\\' ? 2 : 1;
    }
  }
  return at < expression.size() ? at + 1 : NO_END;
}

/// The place after the group "(...)" that begins at `at`.
std::size_t EndOfGroup(std::string_view expression, std::size_t at) noexcept {
  for (int depth = 0; at < expression.size();) {
    if (expression[at] == '[') {
      at = EndOfClass(expression, at);
      if (at == NO_END) return NO_END;
      continue;
    }
    if (expression[at] == '(') ++depth;
    if (expression[at] == ')' && --depth == 0) return at + 1;
    at += expression[at] == '\\' ? 2 : 1;
  }
  return NO_END;
}

/// The size of a byte that stands for itself at `at`, escaped or not; 0 when there is none.
std::size_t LiteralSize(std::string_view expression, std::size_t at) noexcept {
  constexpr std::string_view SPECIAL = ".[]()*+?{}|^$";
  const bool is_escaped = expression[at] == '\\';
  if (at + is_escaped >= expression.size()) return 0;
  const char byte = expression[at + is_escaped];
  if (static_cast<signed char>(byte) < 0) return 0;
  if (is_escaped) return IsByte(byte, BYTE_TOKEN) ? 0 : 2;
  return SPECIAL.find(byte) == std::string_view::npos ? 1 : 0;
}

/// Is the escape a class or place without anything after it that belongs to it?
bool IsPlainEscape(std::string_view letter) noexcept {
  constexpr std::string_view PLAIN = "dDsSwWbBAznrtfva";
  return !letter.empty() && PLAIN.find(letter) != std::string_view::npos;
}

}  // namespace

std::vector<LiteralRun> LiteralRunsOf(std::string_view expression) {
  std::vector<LiteralRun> runs;
  LiteralRun run{{}, expression.starts_with('^'), false};
  const auto end_run = [&](bool at_end) {
    run.at_end = at_end;
    if (!run.text.empty()) runs.push_back(run);
    run = {{}, false, false};
  };
  for (std::size_t at = run.at_start ? 1 : 0; at < expression.size();) {
    const char byte = expression[at];
    if (byte == '|') return {};
    const std::size_t size = LiteralSize(expression, at);
    if (size > 0) {
      const char next = at + size < expression.size() ? expression[at + size] : '\0';
      if (next == '*' || next == '?' || next == '{') {
        end_run(false);
      } else {
        run.text += base::ToLowerAscii(expression[at + size - 1]);
        if (next == '+') end_run(false);
      }
      at += size;
      continue;
    }
    end_run(byte == '$' && at + 1 == expression.size());
    if (byte == '\\' && !IsPlainEscape(expression.substr(at + 1, 1))) return {};
    if (byte == '[') {
      at = EndOfClass(expression, at);
    } else if (byte == '(') {
      at = EndOfGroup(expression, at);
    } else if (byte == '{') {
      const std::size_t end = expression.find('}', at);
      at = end == NO_END ? NO_END : end + 1;
    } else {
      at += byte == '\\' ? 2 : 1;
    }
    if (at == NO_END) return {};
  }
  end_run(false);
  return runs;
}

}  // namespace velmora::adblock
