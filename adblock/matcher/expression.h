// Regular expressions of rules: compiled when they are first asked, kept for all that follow.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string_view>

namespace re2 {
class RE2;
}

namespace velmora::adblock {

/// Can the expression be compiled? Those that look ahead or refer back cannot.
bool IsExpression(std::string_view pattern, bool match_case);

/// One slot an expression. Any number of threads ask at once; two that come first at the same
/// time both compile it, and one of the copies stays.
class ExpressionCache {
 public:
  explicit ExpressionCache(std::size_t slots);
  ~ExpressionCache();
  ExpressionCache(const ExpressionCache &) = delete;
  ExpressionCache &operator=(const ExpressionCache &) = delete;

  /// Does the expression occur in `text`? False for one that cannot be compiled.
  bool Matches(std::size_t slot, std::string_view pattern, bool match_case,
               std::string_view text) noexcept;

 private:
  std::size_t slots_;
  std::unique_ptr<std::atomic<const re2::RE2 *>[]> compiled_;
};

}  // namespace velmora::adblock
