// Categories as a policy's reader and its users choose them: the filter's, and the policy's own.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "host/bodies/categories.h"
#include "host/policy/groups.h"

namespace velmora::host {

struct ChosenCategories {
  CategorySet filter{};
  SiteCategorySet sites{};

  void Add(const ChosenCategories &others) noexcept {
    filter = filter.With(others.filter);
    sites |= others.sites;
  }
};

/// Reads a list such as "ads, games", separated by commas: the policy's `own` by their names, the
/// filter's by theirs; "all" is all of both. Throws `std::invalid_argument` that names the word
/// that is none.
ChosenCategories ParseCategories(std::string_view list,
                                 const std::vector<std::shared_ptr<const SiteCategory>> &own);

}  // namespace velmora::host
