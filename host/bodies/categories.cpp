#include "host/bodies/categories.h"

#include <algorithm>
#include <iterator>
#include <ranges>
#include <span>
#include <stdexcept>
#include <vector>

#include "base/ascii.h"
#include "base/nearest_word.h"

namespace velmora::host {
namespace {

static_assert(std::ranges::equal(std::span(CATEGORY_TABLE).first(std::size(CATEGORIES)), CATEGORIES,
                                 {}, &Category::code, &CategoryInfo::code),
              "every category has a row");
static_assert(std::size(CATEGORY_TABLE) <= 32, "every category has a bit");

/// By the place of its row.
std::uint32_t BitOf(std::int32_t code) noexcept {
  const auto found = std::ranges::find(CATEGORY_TABLE, code, &Category::code);
  return found == std::end(CATEGORY_TABLE) ? 0 : 1U << (found - std::begin(CATEGORY_TABLE));
}

const CategoryGroup &Group(std::string_view name) noexcept {
  return *std::ranges::find(CATEGORY_GROUPS, name, &CategoryGroup::name);
}

/// "unknown category ..., did you mean ...?"
std::string Unknown(const std::string &word) {
  std::vector<std::string_view> names;
  for (const Category &category : CATEGORY_TABLE) names.push_back(category.name);
  for (const CategoryGroup &group : CATEGORY_GROUPS) names.push_back(group.name);
  const std::string_view nearest = base::NearestWord(word, names);
  std::string text = "unknown category \"" + word + "\"";
  if (!nearest.empty()) text += "; did you mean \"" + std::string(nearest) + "\"?";
  return text;
}

}  // namespace

std::string_view NameOfCategory(std::int32_t code) noexcept {
  const auto found = std::ranges::find(CATEGORY_TABLE, code, &Category::code);
  return found == std::end(CATEGORY_TABLE) ? std::string_view{} : found->name;
}

std::string_view MeaningOfCategory(std::int32_t code) noexcept {
  const auto row = std::ranges::find(CATEGORY_TABLE, code, &Category::code);
  if (!row->meaning.empty()) return row->meaning;
  return std::ranges::find(CATEGORIES, code, &CategoryInfo::code)->meaning;
}

CategorySet CategorySet::All() noexcept {
  CategorySet all;
  all.InsertAll(Group("all"));
  return all;
}

CategorySet CategorySet::Default() noexcept {
  CategorySet some;
  some.InsertAll(Group("default"));
  return some;
}

std::string_view CategorySet::Preset() const noexcept {
  for (const CategoryGroup &group : CATEGORY_GROUPS) {
    CategorySet preset;
    preset.InsertAll(group);
    if (group.is_preset && preset == *this) return group.name;
  }
  return {};
}

CategorySet CategorySet::Parse(std::string_view list) {
  CategorySet set;
  for (bool is_last = false; !is_last;) {
    const std::size_t comma = list.find(',');
    is_last = comma == list.npos;
    std::string word(base::TrimWebSpace(list.substr(0, comma)));
    std::ranges::transform(word, word.begin(), base::ToLowerAscii);
    if (!word.empty()) set.InsertWord(word);
    if (!is_last) list.remove_prefix(comma + 1);
  }
  return set;
}

void CategorySet::InsertWord(const std::string &word) {
  const auto group = std::ranges::find(CATEGORY_GROUPS, word, &CategoryGroup::name);
  if (group != std::end(CATEGORY_GROUPS)) return InsertAll(*group);
  const auto found = std::ranges::find_if(CATEGORY_TABLE, [&](const Category &category) {
    return word == category.name || word == std::to_string(category.code);
  });
  if (found == std::end(CATEGORY_TABLE)) throw std::invalid_argument(Unknown(word));
  Insert(found->code);
}

void CategorySet::InsertAll(const CategoryGroup &group) noexcept {
  for (const Category &category : CATEGORY_TABLE) {
    if (group.has(category)) Insert(category.code);
  }
}

bool CategorySet::Contains(std::int32_t code) const noexcept {
  return (bits_ & BitOf(code)) != 0;
}

void CategorySet::Insert(std::int32_t code) noexcept {
  bits_ |= BitOf(code);
}

std::string CategorySet::Text() const {
  std::string text;
  for (const Category &category : CATEGORY_TABLE) {
    if (!Contains(category.code)) continue;
    if (!text.empty()) text += ", ";
    text += category.name;
  }
  return text.empty() ? "none" : text;
}

}  // namespace velmora::host
