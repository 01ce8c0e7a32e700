// Categories: the kinds of content that can be blocked, each switched on for a transaction by
// `IDataContext::IsCategoryEnabled` and named in reports by its code.
#pragma once

#include <cstdint>

namespace velmora {

inline constexpr std::int32_t CATEGORY_JAVASCRIPT = 100;
inline constexpr std::int32_t CATEGORY_JAVASCRIPT_FLASH = 101;
inline constexpr std::int32_t CATEGORY_JAVASCRIPT_AD_SIZES = 102;
inline constexpr std::int32_t CATEGORY_JAVASCRIPT_AD_URLS = 103;
inline constexpr std::int32_t CATEGORY_VBSCRIPT = 200;
inline constexpr std::int32_t CATEGORY_VBSCRIPT_FLASH = 201;
inline constexpr std::int32_t CATEGORY_VBSCRIPT_AD_SIZES = 202;
inline constexpr std::int32_t CATEGORY_VBSCRIPT_AD_URLS = 203;
inline constexpr std::int32_t CATEGORY_SCRIPTS = 300;
inline constexpr std::int32_t CATEGORY_APPLETS = 301;
inline constexpr std::int32_t CATEGORY_ACTIVEX = 302;
inline constexpr std::int32_t CATEGORY_FLASH = 303;
inline constexpr std::int32_t CATEGORY_AD_SIZES = 304;
inline constexpr std::int32_t CATEGORY_AD_URLS = 305;
inline constexpr std::int32_t CATEGORY_SCRIPT_ERRORS = 306;
inline constexpr std::int32_t CATEGORY_POPUPS = 307;
inline constexpr std::int32_t CATEGORY_RESTORE_POPUPS = 308;
inline constexpr std::int32_t CATEGORY_GIF_ANIMATION = 400;

struct CategoryInfo {
  std::int32_t code;
  /// The category's bit in the option block's mask (`IDataContext::GetOptionBlock`).
  std::uint32_t bit;
  /// What a report names the item when its handler gives it no name; empty for categories whose
  /// reports always carry one.
  const char *label;
  const char *meaning;
};

/// Every category, in the order of the codes.
inline constexpr CategoryInfo CATEGORIES[] = {
    {CATEGORY_JAVASCRIPT, 1U << 0, "(Script)", "every JavaScript body and inline script"},
    {CATEGORY_JAVASCRIPT_FLASH, 1U << 1, "(Script)", "JavaScript with a string that names Flash"},
    {CATEGORY_JAVASCRIPT_AD_SIZES, 1U << 2, "(Script)", "JavaScript with an advertisement's size"},
    {CATEGORY_JAVASCRIPT_AD_URLS, 1U << 3, "(Script)", "JavaScript with an advertisement's URL"},
    {CATEGORY_VBSCRIPT, 1U << 4, "(Script)", "every VBScript body and inline script"},
    {CATEGORY_VBSCRIPT_FLASH, 1U << 5, "(Script)", "VBScript with a string that names Flash"},
    {CATEGORY_VBSCRIPT_AD_SIZES, 1U << 6, "(Script)", "VBScript with an advertisement's size"},
    {CATEGORY_VBSCRIPT_AD_URLS, 1U << 7, "(Script)", "VBScript with an advertisement's URL"},
    {CATEGORY_SCRIPTS, 1U << 8, "(Script)",
     "scripts in pages: SCRIPT elements, event attributes, \"javascript:\" links"},
    {CATEGORY_APPLETS, 1U << 9, "(Applet)", "Java applets"},
    {CATEGORY_ACTIVEX, 1U << 10, "(ActiveX)", "ActiveX controls: every OBJECT element"},
    {CATEGORY_FLASH, 1U << 11, "", "Flash animations in EMBED and OBJECT elements"},
    {CATEGORY_AD_SIZES, 1U << 12, "", "advertisements, by their width and height"},
    {CATEGORY_AD_URLS, 1U << 13, "", "advertisements, by their URL"},
    {CATEGORY_SCRIPT_ERRORS, 1U << 14, "", "script error messages (never reported)"},
    {CATEGORY_POPUPS, 1U << 15, "", "pop-up windows (never reported)"},
    {CATEGORY_RESTORE_POPUPS, 1U << 16, "",
     "gives window.open back at the end of the page (never reported)"},
    {CATEGORY_GIF_ANIMATION, 1U << 17, "(GIF Animation)", "animated GIFs: frames after the first"},
};

}  // namespace velmora
