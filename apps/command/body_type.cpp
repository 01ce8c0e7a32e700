#include "command/body_type.h"

#include <algorithm>
#include <array>

namespace velmora::command {
namespace {

struct NamedType {
  std::string_view name;
  std::string_view type;
};

constexpr std::string_view HTML = "text/html";
constexpr std::string_view JAVASCRIPT = "application/x-javascript";
constexpr std::string_view VBSCRIPT = "text/vbscript";
constexpr std::string_view GIF = "image/gif";

constexpr std::array<NamedType, 4> SHORT_NAMES = {{
    {"html", HTML},
    {"js", JAVASCRIPT},
    {"vbs", VBSCRIPT},
    {"gif", GIF},
}};

constexpr std::array<NamedType, 8> EXTENSIONS = {{
    {".html", HTML},
    {".htm", HTML},
    {".shtml", HTML},
    {".xhtml", HTML},
    {".js", JAVASCRIPT},
    {".mjs", JAVASCRIPT},
    {".vbs", VBSCRIPT},
    {".gif", GIF},
}};

constexpr std::string_view PAGE_STARTS[] = {"<!doctype html", "<html", "<head", "<body", "<title"};

char LowerCase(char c) {
  return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EndsWithNoCase(std::string_view text, std::string_view lower_case_end) {
  return text.size() >= lower_case_end.size() &&
         std::ranges::equal(text.substr(text.size() - lower_case_end.size()), lower_case_end, {},
                            LowerCase);
}

/// Begins with markup and has one of the first tags of a page in its first KiB. Zero bytes are
/// passed over, which makes UTF-16 readable enough.
bool LooksLikeHtml(std::string_view bytes) {
  std::string start;
  for (const char c : bytes.substr(0, 1024)) {
    if (c != '\0') start += LowerCase(c);
  }
  const std::size_t markup = start.find_first_not_of(" \t\r\n\xEF\xBB\xBF\xFF\xFE");
  if (markup == start.npos || start[markup] != '<') return false;
  return std::ranges::any_of(
      PAGE_STARTS, [&](std::string_view tag) { return start.find(tag, markup) != start.npos; });
}

}  // namespace

std::string_view TypeOfName(std::string_view name) noexcept {
  const auto type = std::ranges::find_if(
      EXTENSIONS, [&](const NamedType &named) { return EndsWithNoCase(name, named.name); });
  return type == EXTENSIONS.end() ? std::string_view() : type->type;
}

std::string_view TypeOfBytes(std::string_view first_bytes) {
  if (first_bytes.starts_with("GIF8")) return GIF;
  return LooksLikeHtml(first_bytes) ? HTML : "application/octet-stream";
}

std::string FullType(std::string_view type) {
  const auto by_name = std::ranges::find(SHORT_NAMES, type, &NamedType::name);
  return std::string(by_name == SHORT_NAMES.end() ? type : by_name->type);
}

}  // namespace velmora::command
