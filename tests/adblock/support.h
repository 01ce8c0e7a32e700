// Short forms for the tests of the matcher.
#pragma once

#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "matcher/loader.h"
#include "support/temporary_directory.h"

namespace velmora::adblock::testing {

using velmora::testing::ReadBytes;
using velmora::testing::TemporaryDirectory;

inline std::vector<ListText> Lists(std::vector<std::string> texts) {
  std::vector<ListText> lists;
  for (std::string &text : texts) {
    lists.push_back({"list " + std::to_string(lists.size() + 1), std::move(text)});
  }
  return lists;
}

inline std::unique_ptr<Ruleset> RulesOf(std::string text) {
  return LoadRules(Lists({std::move(text)}), "").rules;
}

inline std::string_view NameOf(Verdict verdict) {
  constexpr std::string_view NAMES[] = {"none", "blocked", "allowed"};
  return NAMES[static_cast<int>(verdict.kind)];
}

/// Random rules and URLs, put together from pieces.
class Dice {
 public:
  explicit Dice(unsigned seed) : random_(seed) {}
  std::size_t Below(std::size_t limit) { return random_() % limit; }
  bool OneIn(std::size_t count) { return Below(count) == 0; }
  template <typename Pieces>
  std::string Pick(const Pieces &pieces) {
    return std::string(pieces[Below(std::size(pieces))]);
  }
  template <typename Pieces>
  std::string Row(const Pieces &pieces, std::size_t most) {
    std::string text;
    for (std::size_t count = 1 + Below(most); count > 0; --count) text += Pick(pieces);
    return text;
  }

 private:
  std::mt19937 random_;
};

}  // namespace velmora::adblock::testing
