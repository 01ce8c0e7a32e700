#include "command/answers/applied.h"

#include <cstdint>
#include <fmt/format.h>
#include <string_view>
#include <vector>

#include "host/bodies/categories.h"

namespace velmora::command {
namespace {

/// The bytes, and the categories that the mask in their second word switches off.
std::string OptionBlock(const std::vector<std::uint8_t> &block) {
  std::string text;
  std::uint32_t mask = 0;
  for (std::size_t i = 0; i < block.size(); ++i) {
    text += fmt::format("{:02x} ", block[i]);
    if (4 <= i && i < 8) mask |= std::uint32_t{block[i]} << (8 * (i - 4));
  }
  host::CategorySet masked;
  for (const CategoryInfo &category : CATEGORIES) {
    if ((mask & category.bit) != 0) masked.Insert(category.code);
  }
  return text + "leaves alone: " + masked.Text();
}

std::string RulesText(const host::Policy &policy, const host::Asked &asked) {
  std::string rules;
  for (const host::PolicyRule *const rule : policy.RulesFor(asked)) {
    rules += fmt::format("{}{} (line {})", rules.empty() ? "" : ", ", rule->name, rule->line);
  }
  return rules.empty() ? "none" : rules;
}

/// The names of the categories of sites that are blocked.
std::string Sites(const host::Policy &policy, const host::SiteCategorySet &blocked) {
  std::string text;
  for (std::size_t i = 0; i < policy.site_categories.size(); ++i) {
    if (blocked[i]) text += (text.empty() ? "" : ", ") + policy.site_categories[i]->name;
  }
  return text;
}

std::string SafeSearchText(host::SafeSearch wanted) {
  switch (wanted) {
    case host::SafeSearch::OFF:
      return {};
    case host::SafeSearch::MODERATE:
      return "moderate";
    case host::SafeSearch::FULL:
      break;
  }
  return "strict";
}

std::string WhoText(const WhoAndWhen &who) {
  std::string text = who.client.empty() ? "any client" : who.client;
  if (!who.user.empty()) text += ", user " + who.user;
  if (!who.groups.empty()) text += ", of " + who.groups;
  if (!who.at.empty()) text += ", at " + who.at;
  return text;
}

}  // namespace

Sheet Applied(const host::Policy &policy, const std::string &url, const WhoAndWhen &who) {
  Sheet sheet{fmt::format("{} for {}:", url.empty() ? "any site" : url, WhoText(who))};
  host::Asker asker{.client = who.client, .user = who.user, .groups = who.groups};
  if (!who.at.empty()) asker.minute = host::LocalClock::Parse(who.at);
  const host::Asked asked(url, asker);
  if (policy.Allows(asked)) {
    sheet.Add("passes", "untouched, by the allow list");
    return sheet;
  }
  const host::PolicyAnswer answer = policy.For(asked);
  sheet.Add("rules", RulesText(policy, asked));
  if (const auto *const category = policy.BlockedSite(answer, asked)) {
    sheet.Add("blocked",
              fmt::format("as a site of \"{}\" (line {})", category->name, category->line));
    return sheet;
  }
  if (answer.categories.IsEmpty() && !answer.IsFiltered()) {
    sheet.Add("passes", "untouched: nothing is to be blocked");
  } else {
    sheet.Add("preset", std::string(answer.categories.Preset()));
    sheet.Add("blocks", answer.categories.Text());
  }
  sheet.Add("blocks sites", Sites(policy, answer.blocked_sites));
  sheet.Add("safe search", SafeSearchText(answer.safe_search));
  for (const auto &[name, value] : answer.settings) {
    sheet.Add("setting", fmt::format("{} = {}", name, value));
  }
  if (!answer.option_block.empty()) sheet.Add("option block", OptionBlock(answer.option_block));
  return sheet;
}

}  // namespace velmora::command
