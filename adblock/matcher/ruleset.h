// A compiled set of rules, and the questions that it answers.
#pragma once

#include <cstdint>
#include <string_view>

#include "address.h"
#include "expression.h"
#include "image.h"

namespace velmora::adblock {

enum class Asked : std::uint16_t {
  kElement = RULE_ELEMENT,
  kPopup = RULE_POPUP,
};

struct Question {
  std::string_view page_host;
  std::string_view address;
  Asked asked = Asked::kElement;
};

struct Verdict {
  enum class Kind : std::uint8_t { kNone, kBlocked, kAllowed };
  static constexpr std::uint32_t NO_RULE = ~0U;

  Kind kind = Kind::kNone;
  /// The rule that decided.
  std::uint32_t rule = NO_RULE;
};

/// Where a rule stands. The strings live as long as the ruleset.
struct RuleOrigin {
  std::string_view text;
  std::string_view list;
  std::uint32_t line;
};

/// Answers any number of threads at once.
class Ruleset {
 public:
  explicit Ruleset(Image image);

  /// Of the rules that match, the first of the highest rank decides.
  Verdict Judge(const Question &question) const noexcept;
  /// The same by trying every rule in turn, without the index: what `Judge` is held against.
  Verdict JudgePlainly(const Question &question) const noexcept;
  bool IsAdSize(std::int32_t width, std::int32_t height) const noexcept;

  RuleOrigin OriginOf(std::uint32_t rule) const noexcept;
  const Image &Compiled() const noexcept { return image_; }

 private:
  class Inquiry;

  Image image_;
  mutable ExpressionCache expressions_;
};

}  // namespace velmora::adblock
