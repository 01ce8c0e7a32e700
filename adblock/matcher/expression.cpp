#include "expression.h"

#include <re2/re2.h>

namespace velmora::adblock {
namespace {

re2::RE2::Options OptionsFor(bool match_case) {
  // Addresses are bytes; a byte order or a broken UTF-8 sequence must not end a match.
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

bool IsExpression(std::string_view pattern, bool match_case) {
  return re2::RE2(Piece(pattern), OptionsFor(match_case)).ok();
}

ExpressionCache::ExpressionCache(std::size_t slots)
    : slots_(slots), compiled_(new std::atomic<const re2::RE2 *>[slots]()) {}

ExpressionCache::~ExpressionCache() {
  for (std::size_t slot = 0; slot < slots_; ++slot) delete compiled_[slot].load();
}

bool ExpressionCache::Matches(std::size_t slot, std::string_view pattern, bool match_case,
                              std::string_view text) noexcept {
  if (slot >= slots_) return false;
  const re2::RE2 *expression = compiled_[slot].load(std::memory_order_acquire);
  if (!expression) {
    const auto *made = new re2::RE2(Piece(pattern), OptionsFor(match_case));
    if (compiled_[slot].compare_exchange_strong(expression, made, std::memory_order_acq_rel)) {
      expression = made;
    } else {
      delete made;
    }
  }
  return expression->ok() && re2::RE2::PartialMatch(Piece(text), *expression);
}

}  // namespace velmora::adblock
