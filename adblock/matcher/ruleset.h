// A compiled set of rules, and the questions that it answers.
#pragma once

#include <cstdint>
#include <string_view>

#include "desk.h"
#include "expression.h"
#include "image.h"
#include "url.h"
#include "verdict.h"

namespace velmora::adblock {

struct Question {
  std::string_view page_host;
  std::string_view url;
  /// A rule applies if it is for any of these types.
  std::uint16_t types = TYPES_ELEMENT;
  /// 0: unknown, so that rules for certain methods do not apply.
  std::uint16_t method = 0;
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

  /// Of the rules that match, the first of the highest rank decides. What it costs is bounded
  /// (`Effort`): beyond that, rules that are still to be tried count as not matching.
  Verdict Judge(const Question &question) const noexcept;
  /// The same with the page given by its URL, or its host alone. For a page itself its own host
  /// counts where none is given.
  Verdict JudgeRequest(std::string_view page, Question question) const noexcept;
  /// As `Judge`, with the page and the last answers remembered: for what stands in pages.
  Verdict JudgeInPage(const Question &question) const noexcept;
  /// As `Judge`, by trying every rule in turn, without the index and the bound: what `Judge` is
  /// held against.
  Verdict JudgePlainly(const Question &question) const noexcept;
  /// What `Judge` spends on a question.
  std::size_t EffortOf(const Question &question) const noexcept;
  bool IsAdSize(std::int32_t width, std::int32_t height) const noexcept;

  RuleOrigin OriginOf(std::uint32_t rule) const noexcept;
  const Image &Compiled() const noexcept { return image_; }

 private:
  class Inquiry;

  Image image_;
  mutable ExpressionCache expressions_;
  mutable Desks desks_;
};

}  // namespace velmora::adblock
