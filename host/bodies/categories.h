// The categories as people read and write them: a row each, words for several, and sets of them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <velmora/categories.h>

namespace velmora::host {

struct Category {
  std::int32_t code;
  std::string_view name;
  /// What it blocks is an advertisement.
  bool is_ad;
  /// Blocked where nobody says what is to be blocked: what is in nobody's interest but its maker's.
  /// Blocking every script would break most sites.
  bool is_default;
  /// Told here for what the plug-in does not know of.
  std::string_view meaning{};
};

/// What hosts block themselves, beside what the plug-in does.
inline constexpr std::int32_t CATEGORY_REQUESTS = 500;

inline constexpr bool AD = true;
inline constexpr bool DEFAULT = true;

/// Every category, in the order of the codes: the plug-in's, then the hosts'.
inline constexpr Category CATEGORY_TABLE[] = {
    {CATEGORY_JAVASCRIPT, "javascript", !AD, !DEFAULT},
    {CATEGORY_JAVASCRIPT_FLASH, "javascript-flash", !AD, DEFAULT},
    {CATEGORY_JAVASCRIPT_AD_SIZES, "javascript-ad-sizes", AD, DEFAULT},
    {CATEGORY_JAVASCRIPT_AD_URLS, "javascript-ad-urls", AD, DEFAULT},
    {CATEGORY_VBSCRIPT, "vbscript", !AD, !DEFAULT},
    {CATEGORY_VBSCRIPT_FLASH, "vbscript-flash", !AD, DEFAULT},
    {CATEGORY_VBSCRIPT_AD_SIZES, "vbscript-ad-sizes", AD, DEFAULT},
    {CATEGORY_VBSCRIPT_AD_URLS, "vbscript-ad-urls", AD, DEFAULT},
    {CATEGORY_SCRIPTS, "scripts", !AD, !DEFAULT},
    {CATEGORY_APPLETS, "applets", !AD, DEFAULT},
    {CATEGORY_ACTIVEX, "activex", !AD, DEFAULT},
    {CATEGORY_FLASH, "flash", !AD, DEFAULT},
    {CATEGORY_AD_SIZES, "ad-sizes", AD, DEFAULT},
    {CATEGORY_AD_URLS, "ad-urls", AD, DEFAULT},
    {CATEGORY_SCRIPT_ERRORS, "script-errors", !AD, DEFAULT},
    {CATEGORY_POPUPS, "popups", !AD, DEFAULT},
    {CATEGORY_RESTORE_POPUPS, "restore-popups", !AD, DEFAULT},
    {CATEGORY_GIF_ANIMATION, "gif-animation", !AD, DEFAULT},
    {CATEGORY_REQUESTS, "requests", AD, DEFAULT,
     "requests that the ad lists name, in a proxy: they are not made"},
};

/// A word for several categories.
struct CategoryGroup {
  std::string_view name;
  std::string_view meaning;
  bool (*has)(const Category &category) noexcept;
};

inline constexpr CategoryGroup CATEGORY_GROUPS[] = {
    {"ads", "all seven kinds of advertisements",
     [](const Category &category) noexcept { return category.is_ad; }},
    {"default", "what is blocked where nothing else is said",
     [](const Category &category) noexcept { return category.is_default; }},
    {"all", "everything", [](const Category &) noexcept { return true; }},
    {"none", "nothing", [](const Category &) noexcept { return false; }},
};

/// The name of a category; empty for a code that is none.
std::string_view NameOfCategory(std::int32_t code) noexcept;
/// What it blocks, for people; of one that there is.
std::string_view MeaningOfCategory(std::int32_t code) noexcept;

class CategorySet {
 public:
  constexpr CategorySet() = default;
  static CategorySet All() noexcept;
  static CategorySet Default() noexcept;

  /// Reads a list such as "ads,flash,300": names, codes, and the words for several, separated by
  /// commas, in any letter case.
  /// Throws `std::invalid_argument` that names the word that is none of these, and one that may
  /// have been meant.
  static CategorySet Parse(std::string_view list);

  /// A code that is no category is in no set.
  bool Contains(std::int32_t code) const noexcept;
  void Insert(std::int32_t code) noexcept;
  /// The names, in the order of the codes: "ad-sizes, ad-urls"; "none" for the empty set.
  std::string Text() const;
  bool IsEmpty() const noexcept { return bits_ == 0; }
  CategorySet With(CategorySet others) const noexcept { return CategorySet(bits_ | others.bits_); }
  CategorySet Without(CategorySet others) const noexcept {
    return CategorySet(bits_ & ~others.bits_);
  }

  friend bool operator==(CategorySet, CategorySet) noexcept = default;

 private:
  explicit constexpr CategorySet(std::uint32_t bits) noexcept : bits_(bits) {}
  void InsertAll(const CategoryGroup &group) noexcept;
  void InsertWord(const std::string &word);

  std::uint32_t bits_ = 0;
};

}  // namespace velmora::host
