#include "host/bodies/category_names.h"

#include <algorithm>
#include <iterator>
#include <ranges>
#include <stdexcept>
#include <string>

namespace velmora::host {
namespace {

static_assert(std::ranges::equal(CATEGORY_NAMES, CATEGORIES, {}, &CategoryName::code,
                                 &CategoryInfo::code),
              "every category has a name");

constexpr std::int32_t ADVERTISEMENTS[] = {
    CATEGORY_AD_SIZES,           CATEGORY_AD_URLS,           CATEGORY_JAVASCRIPT_AD_SIZES,
    CATEGORY_JAVASCRIPT_AD_URLS, CATEGORY_VBSCRIPT_AD_SIZES, CATEGORY_VBSCRIPT_AD_URLS,
};

std::uint32_t BitOf(std::int32_t code) noexcept {
  const auto found = std::ranges::find(CATEGORIES, code, &CategoryInfo::code);
  return found == std::end(CATEGORIES) ? 0 : found->bit;
}

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](char c) {
    return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return lower;
}

void InsertWord(const std::string &word, CategorySet &set) {
  if (word == "all") {
    set = CategorySet::All();
  } else if (word == "none") {
    return;
  } else if (word == "ads") {
    for (const std::int32_t code : ADVERTISEMENTS) set.Insert(code);
  } else {
    const auto found = std::ranges::find_if(CATEGORY_NAMES, [&](const CategoryName &category) {
      return word == category.name || word == std::to_string(category.code);
    });
    if (found == std::end(CATEGORY_NAMES)) {
      throw std::invalid_argument("unknown category \"" + word + "\"");
    }
    set.Insert(found->code);
  }
}

}  // namespace

std::string_view NameOfCategory(std::int32_t code) noexcept {
  const auto found = std::ranges::find(CATEGORY_NAMES, code, &CategoryName::code);
  return found == std::end(CATEGORY_NAMES) ? std::string_view{} : found->name;
}

CategorySet CategorySet::All() noexcept {
  CategorySet all;
  for (const CategoryInfo &category : CATEGORIES) all.bits_ |= category.bit;
  return all;
}

CategorySet CategorySet::Parse(std::string_view list) {
  CategorySet set;
  for (const auto part : std::views::split(list, ',')) {
    std::string_view word(part.begin(), part.end());
    word.remove_prefix(std::min(word.find_first_not_of(' '), word.size()));
    word = word.substr(0, word.find_last_not_of(' ') + 1);
    if (!word.empty()) InsertWord(LowerCase(word), set);
  }
  return set;
}

bool CategorySet::Contains(std::int32_t code) const noexcept {
  return (bits_ & BitOf(code)) != 0;
}

void CategorySet::Insert(std::int32_t code) noexcept {
  bits_ |= BitOf(code);
}

std::string CategorySet::Text() const {
  std::string text;
  for (const auto &[code, name] : CATEGORY_NAMES) {
    if (!Contains(code)) continue;
    if (!text.empty()) text += ", ";
    text += name;
  }
  return text.empty() ? "none" : text;
}

}  // namespace velmora::host
