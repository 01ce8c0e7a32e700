// Short forms for the tests of the matcher.
#pragma once

#include <memory>
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

}  // namespace velmora::adblock::testing
