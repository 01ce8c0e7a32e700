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
  /// The presets that it is in, as bits.
  std::uint8_t presets;
  /// Told here for what the plug-in does not know of.
  std::string_view meaning{};
};

/// What hosts block themselves, beside what the plug-in does.
inline constexpr std::int32_t CATEGORY_REQUESTS = 500;
/// What the plug-in would remove by address and the host does not keep.
inline constexpr std::int32_t CATEGORY_AD_ELEMENTS = 501;

inline constexpr bool AD = true;

/// For today's web, and the default: nothing that a page needs, no script looked into.
inline constexpr std::uint8_t CALM = 1;
/// What is in nobody's interest but its maker's, at the price of some pages' scripts.
inline constexpr std::uint8_t STRICT = 2;
/// For machines that are too old for today's web.
inline constexpr std::uint8_t CLASSIC = 4;
/// Nothing that moves.
inline constexpr std::uint8_t STILL = 8;

/// Every category, in the order of the codes: the plug-in's, then the hosts'.
inline constexpr Category CATEGORY_TABLE[] = {
    {CATEGORY_JAVASCRIPT, "javascript", !AD, 0},
    {CATEGORY_JAVASCRIPT_FLASH, "javascript-flash", !AD, STRICT},
    {CATEGORY_JAVASCRIPT_AD_SIZES, "javascript-ad-sizes", AD, STRICT},
    {CATEGORY_JAVASCRIPT_AD_URLS, "javascript-ad-urls", AD, STRICT},
    {CATEGORY_VBSCRIPT, "vbscript", !AD, 0},
    {CATEGORY_VBSCRIPT_FLASH, "vbscript-flash", !AD, STRICT},
    {CATEGORY_VBSCRIPT_AD_SIZES, "vbscript-ad-sizes", AD, STRICT},
    {CATEGORY_VBSCRIPT_AD_URLS, "vbscript-ad-urls", AD, STRICT},
    {CATEGORY_SCRIPTS, "scripts", !AD, CLASSIC},
    {CATEGORY_APPLETS, "applets", !AD, STRICT | CLASSIC | STILL},
    {CATEGORY_ACTIVEX, "activex", !AD, STRICT | CLASSIC | STILL},
    {CATEGORY_FLASH, "flash", !AD, STRICT | CLASSIC | STILL},
    {CATEGORY_AD_SIZES, "ad-sizes", AD, STRICT | CLASSIC},
    {CATEGORY_AD_URLS, "ad-urls", AD, STRICT | CLASSIC},
    {CATEGORY_SCRIPT_ERRORS, "script-errors", !AD, STRICT},
    {CATEGORY_POPUPS, "popups", !AD, CALM | STRICT | STILL},
    {CATEGORY_RESTORE_POPUPS, "restore-popups", !AD, CALM | STRICT | STILL},
    {CATEGORY_GIF_ANIMATION, "gif-animation", !AD, STRICT | CLASSIC | STILL},
    {CATEGORY_REQUESTS, "requests", AD, CALM | STRICT | CLASSIC | STILL,
     "requests that the ad lists block, in a proxy: they are not made"},
    {CATEGORY_AD_ELEMENTS, "ad-elements", AD, CALM | STILL,
     "elements whose request the ad lists block; links and forms stay"},
};

/// A word for several categories.
struct CategoryGroup {
  std::string_view name;
  std::string_view meaning;
  bool (*has)(const Category &category) noexcept;
  bool is_preset = false;
};

template <std::uint8_t PRESET>
constexpr bool IsIn(const Category &category) noexcept {
  return (category.presets & PRESET) != 0;
}

/// Those that are presets stand for all that a policy blocks, in one word.
inline constexpr CategoryGroup CATEGORY_GROUPS[] = {
    {"ads", "advertisements of all kinds",
     [](const Category &category) noexcept { return category.is_ad; }},
    {"calm", "requests for ads, their elements, pop-ups: no page is hurt (the default)", IsIn<CALM>,
     true},
    {"strict", "all that is advertisement, plug-ins, moves or pops up, also in scripts",
     IsIn<STRICT>, true},
    {"classic", "what old machines cannot bear: scripts, plug-ins, animations, ads", IsIn<CLASSIC>,
     true},
    {"still", "as calm, and nothing that moves: animated GIFs, plug-ins", IsIn<STILL>, true},
    {"default", "calm: what is blocked where nothing else is said", IsIn<CALM>},
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
  /// The preset that has exactly these; empty where none has.
  std::string_view Preset() const noexcept;

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
