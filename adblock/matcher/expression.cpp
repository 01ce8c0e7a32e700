#include "expression.h"

#include <new>

#include "text.h"

namespace velmora::adblock {
namespace {

re2::RE2::Options OptionsFor(bool match_case) {
  // URLs are bytes; a broken UTF-8 sequence must not end a match.
  re2::RE2::Options options(re2::RE2::Latin1);
  options.set_case_sensitive(match_case);
  options.set_log_errors(false);
  options.set_never_capture(true);
  // For the program and its two automata, each far below this in all known lists.
  options.set_max_mem(1 << 20);
  return options;
}

re2::StringPiece Piece(std::string_view text) {
  return {text.data(), text.size()};
}

}  // namespace

Expression::Expression(std::string_view pattern, bool match_case)
    : expression_(Piece(pattern), OptionsFor(match_case)), runs_(LiteralRunsOf(pattern)) {
  constexpr int RANGE_BYTES = 16;
  has_range_ = IsValid() && !runs_.empty() && runs_.front().at_start &&
               expression_.PossibleMatchRange(&first_, &last_, RANGE_BYTES);
  std::erase_if(runs_, [](const LiteralRun &run) { return run.text.size() < 2; });
}

bool Expression::MayMatch(const Url &url, Effort *effort) const noexcept {
  if (has_range_ && (url.Original() < first_ || url.Original() > last_)) return false;
  std::string_view rest = url.Lowered();
  for (const LiteralRun &run : runs_) {
    if (run.at_start && !rest.starts_with(run.text)) return false;
    if (run.at_end) return rest.ends_with(run.text);
    effort->Spend(16 + rest.size() / 4);
    const std::size_t at = FindBytes(rest, run.text, 0);
    if (at == std::string_view::npos) return false;
    rest.remove_prefix(at + run.text.size());
  }
  return true;
}

bool Expression::Matches(const Url &url, Effort *effort) const noexcept {
  effort->Spend(256 + 2 * url.Original().size());
  return IsValid() && re2::RE2::PartialMatch(Piece(url.Original()), expression_);
}

ExpressionCache::ExpressionCache(std::size_t slots)
    : slots_(slots), expressions_(new std::atomic<const Expression *>[slots]()) {}

ExpressionCache::~ExpressionCache() {
  for (std::size_t slot = 0; slot < slots_; ++slot) delete expressions_[slot].load();
}

const Expression *ExpressionCache::Get(std::size_t slot, std::string_view pattern,
                                       bool match_case) noexcept {
  if (slot >= slots_) return nullptr;
  const Expression *expression = expressions_[slot].load(std::memory_order_acquire);
  if (expression) return expression;
  try {
    auto made = std::make_unique<const Expression>(pattern, match_case);
    if (expressions_[slot].compare_exchange_strong(expression, made.get(),
                                                   std::memory_order_acq_rel)) {
      expression = made.release();
    }
    return expression;
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

}  // namespace velmora::adblock
