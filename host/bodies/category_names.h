// The categories under names that people read and write, and sets of them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <velmora/categories.h>

namespace velmora::host {

struct CategoryName {
  std::int32_t code;
  std::string_view name;
};

/// One name for each category, in the order of the codes.
inline constexpr CategoryName CATEGORY_NAMES[] = {
    {CATEGORY_JAVASCRIPT, "javascript"},
    {CATEGORY_JAVASCRIPT_FLASH, "javascript-flash"},
    {CATEGORY_JAVASCRIPT_AD_SIZES, "javascript-ad-sizes"},
    {CATEGORY_JAVASCRIPT_AD_URLS, "javascript-ad-urls"},
    {CATEGORY_VBSCRIPT, "vbscript"},
    {CATEGORY_VBSCRIPT_FLASH, "vbscript-flash"},
    {CATEGORY_VBSCRIPT_AD_SIZES, "vbscript-ad-sizes"},
    {CATEGORY_VBSCRIPT_AD_URLS, "vbscript-ad-urls"},
    {CATEGORY_SCRIPTS, "scripts"},
    {CATEGORY_APPLETS, "applets"},
    {CATEGORY_ACTIVEX, "activex"},
    {CATEGORY_FLASH, "flash"},
    {CATEGORY_AD_SIZES, "ad-sizes"},
    {CATEGORY_AD_URLS, "ad-urls"},
    {CATEGORY_SCRIPT_ERRORS, "script-errors"},
    {CATEGORY_POPUPS, "popups"},
    {CATEGORY_RESTORE_POPUPS, "restore-popups"},
    {CATEGORY_GIF_ANIMATION, "gif-animation"},
};

/// The name of a category; empty for a code that is none.
std::string_view NameOfCategory(std::int32_t code) noexcept;

class CategorySet {
 public:
  constexpr CategorySet() = default;
  static CategorySet All() noexcept;

  /// Reads a list such as "ads,flash,300": names, codes, and the groups "ads" (every kind of
  /// advertisement, in pages and in scripts), "all" and "none", separated by commas, in any letter
  /// case.
  /// Throws `std::invalid_argument` that names the word that is none of these.
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

  std::uint32_t bits_ = 0;
};

}  // namespace velmora::host
