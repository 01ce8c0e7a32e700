#include "command/body_type.h"

#include <algorithm>
#include <array>

#include "base/ascii.h"
#include "host/web/sniffing.h"

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

bool EndsWithNoCase(std::string_view text, std::string_view lower_case_end) {
  return text.size() >= lower_case_end.size() &&
         std::ranges::equal(text.substr(text.size() - lower_case_end.size()), lower_case_end, {},
                            base::ToLowerAscii);
}

/// As browsers see them once they know the encoding: without a mark in front, and without the zero
/// bytes of UTF-16.
std::string InOneByteUnits(std::string_view bytes) {
  for (const std::string_view mark : {"\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF"}) {
    if (bytes.starts_with(mark)) bytes.remove_prefix(mark.size());
  }
  std::string units(bytes.substr(0, 2 * host::SNIFFED_BYTES));
  std::erase(units, '\0');
  return units;
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
  switch (host::SniffPage(InOneByteUnits(first_bytes), true)) {
    case host::Sniffed::HTML:
      return HTML;
    case host::Sniffed::XML:
      return "application/xml";
    case host::Sniffed::OTHER:
    case host::Sniffed::UNDECIDED:
      break;
  }
  return {};
}

std::string FullType(std::string_view type) {
  const auto by_name = std::ranges::find(SHORT_NAMES, type, &NamedType::name);
  return std::string(by_name == SHORT_NAMES.end() ? type : by_name->type);
}

}  // namespace velmora::command
