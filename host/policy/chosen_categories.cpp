#include "host/policy/chosen_categories.h"

#include <algorithm>
#include <cstddef>

#include "base/ascii.h"

namespace velmora::host {
namespace {

ChosenCategories OfWord(std::string_view word,
                        const std::vector<std::shared_ptr<const SiteCategory>> &own) {
  ChosenCategories chosen;
  const auto found = std::ranges::find_if(
      own, [&](const auto &category) { return base::EqualNoCase(category->name, word); });
  if (found != own.end()) {
    chosen.sites.set(static_cast<std::size_t>(found - own.begin()));
    return chosen;
  }
  chosen.filter = CategorySet::Parse(word);
  if (base::EqualNoCase(word, "all")) {
    for (std::size_t i = 0; i < own.size(); ++i) chosen.sites.set(i);
  }
  return chosen;
}

}  // namespace

ChosenCategories ParseCategories(std::string_view list,
                                 const std::vector<std::shared_ptr<const SiteCategory>> &own) {
  ChosenCategories chosen;
  while (!list.empty()) {
    const std::size_t comma = std::min(list.find(','), list.size());
    chosen.Add(OfWord(base::TrimWebSpace(list.substr(0, comma)), own));
    list.remove_prefix(std::min(comma + 1, list.size()));
  }
  return chosen;
}

}  // namespace velmora::host
