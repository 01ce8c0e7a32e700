// Regular expressions of rules: compiled when they are first asked, kept for all that follow.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <re2/re2.h>
#include <string>
#include <string_view>
#include <vector>

#include "effort.h"
#include "expression_literals.h"
#include "url.h"

namespace velmora::adblock {

class Expression {
 public:
  Expression(std::string_view pattern, bool match_case);

  /// Can it be compiled? Those that look ahead or refer back cannot, and match nothing.
  bool IsValid() const { return expression_.ok(); }
  /// Has the URL the literal bytes that every match has, and does it lie between the first and
  /// the last that can match? Most do not, which is seen faster than that they do not match.
  bool MayMatch(const Url &url, Effort *effort) const noexcept;
  bool Matches(const Url &url, Effort *effort) const noexcept;

 private:
  const re2::RE2 expression_;
  std::vector<LiteralRun> runs_;
  /// What matches from its start on lies between these in the order of bytes.
  bool has_range_ = false;
  std::string first_;
  std::string last_;
};

/// One slot an expression. Any number of threads ask at once; two that come first at the same
/// time both compile it, and one of the copies stays.
class ExpressionCache {
 public:
  explicit ExpressionCache(std::size_t slots);
  ~ExpressionCache();
  ExpressionCache(const ExpressionCache &) = delete;
  ExpressionCache &operator=(const ExpressionCache &) = delete;

  /// Null for a slot that is not there, and when memory cannot be had.
  const Expression *Get(std::size_t slot, std::string_view pattern, bool match_case) noexcept;

 private:
  std::size_t slots_;
  std::unique_ptr<std::atomic<const Expression *>[]> expressions_;
};

}  // namespace velmora::adblock
