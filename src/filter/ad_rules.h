// What is checked for advertisements in each kind of element.
#pragma once

#include <array>
#include <string_view>

namespace velmora {

/// Whether width and height are checked (category 304), and how a report then names the item.
enum class SizeCheck { NONE, NAMED_BY_TAG, NAMED_BY_TAG_AND_SRC };

struct AdRule {
  static constexpr std::size_t MOST_URLS = 3;

  std::string_view tag;
  /// The attributes that hold URLs (category 305), in the order in which they are checked;
  /// those after the last are empty.
  std::array<std::string_view, MOST_URLS> urls;
  SizeCheck size_check;
};

inline constexpr AdRule ANCHOR_ADS{"A", {"href"}, SizeCheck::NONE};
inline constexpr AdRule APPLET_ADS{
    "APPLET", {"codebase", "code", "archive"}, SizeCheck::NAMED_BY_TAG};
inline constexpr AdRule EMBED_ADS{"EMBED", {"src"}, SizeCheck::NAMED_BY_TAG};
inline constexpr AdRule FORM_ADS{"FORM", {"action"}, SizeCheck::NONE};
inline constexpr AdRule IFRAME_ADS{"IFRAME", {"src"}, SizeCheck::NAMED_BY_TAG_AND_SRC};
inline constexpr AdRule IMG_ADS{"IMG", {"src"}, SizeCheck::NAMED_BY_TAG_AND_SRC};
inline constexpr AdRule OBJECT_ADS{"OBJECT", {"data", "codebase"}, SizeCheck::NAMED_BY_TAG};
inline constexpr AdRule PARAM_ADS{"PARAM", {"value"}, SizeCheck::NONE};
inline constexpr AdRule SCRIPT_ADS{"SCRIPT", {"src"}, SizeCheck::NONE};

/// How Flash (category 303) shows in an element.
struct FlashRule {
  std::string_view attribute;
  std::string_view signature;
  /// Does the attribute's value, given second, bear the signature?
  bool (*matches)(std::string_view signature, std::string_view value) noexcept;
};

}  // namespace velmora
