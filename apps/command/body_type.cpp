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

/// A coding with the extension of its files and the bytes that they begin with.
struct FileCoding {
  std::string_view extension;
  std::string_view begin;
  std::string_view coding;
};

constexpr FileCoding CODINGS[] = {
    {".gz", "\x1F\x8B", "gzip"},
    {".br", "", "br"},
    {".zst", "\x28\xB5\x2F\xFD", "zstd"},
};

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

NamedBody BodyOfName(std::string_view name) noexcept {
  NamedBody body{.plain_name = name};
  for (const FileCoding &file : CODINGS) {
    if (!EndsWithNoCase(name, file.extension)) continue;
    body.coding = file.coding;
    body.plain_name.remove_suffix(file.extension.size());
  }
  for (const NamedType &type : EXTENSIONS) {
    if (EndsWithNoCase(body.plain_name, type.name)) body.type = type.type;
  }
  return body;
}

std::string_view CodingOfBytes(std::string_view first_bytes) noexcept {
  for (const FileCoding &file : CODINGS) {
    if (!file.begin.empty() && first_bytes.starts_with(file.begin)) return file.coding;
  }
  return {};
}

std::string_view TypeOfBytes(std::string_view first_bytes) {
  if (first_bytes.starts_with("GIF8")) return GIF;
  return LooksLikeHtml(first_bytes) ? HTML : std::string_view{};
}

std::string FullType(std::string_view type) {
  const auto by_name = std::ranges::find(SHORT_NAMES, type, &NamedType::name);
  return std::string(by_name == SHORT_NAMES.end() ? type : by_name->type);
}

}  // namespace velmora::command
