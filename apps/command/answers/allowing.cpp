#include "command/answers/allowing.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "base/nearest_word.h"
#include "command/answers/event_filter.h"
#include "host/policy/chosen_categories.h"

namespace velmora::command {

std::filesystem::path ExceptionsOf(const std::filesystem::path &policy) {
  if (!std::filesystem::exists(policy))
    throw std::runtime_error(policy.string() + ": no such file");
  return host::ReadPolicy(policy).exceptions_file;
}

void RunOutIn(host::Exception &exception, const std::string &span) {
  const auto time = ParseSpan(span);
  if (!time || time->count() == 0) {
    throw std::invalid_argument("\"" + span + "\" is no time such as 30min, 1h or 7d");
  }
  exception.until = std::chrono::system_clock::now() + *time;
}

void LimitToGroup(host::Exception &exception, const host::Policy &policy, const std::string &name) {
  std::vector<std::string_view> names;
  names.reserve(policy.groups.size());
  for (const auto &group : policy.groups) names.push_back(group->name);
  if (std::ranges::find(names, name) == names.end()) {
    std::string text = "the policy has no group \"" + name + "\"";
    const std::string_view nearest = base::NearestWord(name, names);
    if (!nearest.empty()) text.append("; did you mean \"").append(nearest).append("\"?");
    throw std::invalid_argument(text);
  }
  exception.group = name;
}

void LimitToCategories(host::Exception &exception, const host::Policy &policy,
                       const std::string &list) {
  const host::ChosenCategories chosen = host::ParseCategories(list, policy.site_categories);
  exception.categories = chosen.filter;
  exception.site_categories.clear();
  // Where all of the filter's are meant, the site is not touched, whatever its category.
  if (chosen.filter == host::CategorySet::All()) return;
  for (std::size_t i = 0; i < policy.site_categories.size(); ++i) {
    if (chosen.sites[i]) exception.site_categories.push_back(policy.site_categories[i]->name);
  }
}

}  // namespace velmora::command
