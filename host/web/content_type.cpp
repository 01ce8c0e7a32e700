#include "host/web/content_type.h"

#include "base/ascii.h"

namespace velmora::host {
namespace {

constexpr std::string_view JAVASCRIPT = "application/x-javascript";
constexpr std::string_view VBSCRIPT = "text/vbscript";
constexpr std::string_view HTML = "text/html";

struct MimeAlias {
  std::string_view name;
  std::string_view known_as;
};

constexpr MimeAlias MIME_ALIASES[] = {
    {"text/javascript", JAVASCRIPT},         {"application/javascript", JAVASCRIPT},
    {"application/ecmascript", JAVASCRIPT},  {"application/x-ecmascript", JAVASCRIPT},
    {"text/ecmascript", JAVASCRIPT},         {"text/x-javascript", JAVASCRIPT},
    {"text/x-ecmascript", JAVASCRIPT},       {"text/jscript", JAVASCRIPT},
    {"text/livescript", JAVASCRIPT},         {"text/javascript1.0", JAVASCRIPT},
    {"text/javascript1.1", JAVASCRIPT},      {"text/javascript1.2", JAVASCRIPT},
    {"text/javascript1.3", JAVASCRIPT},      {"text/javascript1.4", JAVASCRIPT},
    {"text/javascript1.5", JAVASCRIPT},      {"text/vbs", VBSCRIPT},
    {"text/x-vbscript", VBSCRIPT},           {"application/vbscript", VBSCRIPT},
    {"application/x-vbscript", VBSCRIPT},    {"application/xhtml+xml", HTML},
    {"application/vnd.wap.xhtml+xml", HTML},
};

/// A parameter's value and where it stands.
struct CharsetParameter {
  std::string_view value;
  std::size_t begin;
  std::size_t end;
};

/// The first parameter of the name "charset" with a value.
CharsetParameter FindCharset(std::string_view parameters) noexcept {
  for (std::size_t begin = 0; begin < parameters.size();) {
    const std::size_t name_begin = begin + 1;
    // A ";" between quotes ends no parameter.
    bool is_quoted = false;
    std::size_t end = name_begin;
    for (; end < parameters.size() && (is_quoted || parameters[end] != ';'); ++end) {
      if (parameters[end] == '"') is_quoted = !is_quoted;
    }
    const std::string_view parameter = parameters.substr(name_begin, end - name_begin);
    const std::size_t equals = parameter.find('=');
    if (equals != parameter.npos &&
        base::EqualNoCase(base::TrimWebSpace(parameter.substr(0, equals)), "charset")) {
      std::string_view value = base::TrimWebSpace(parameter.substr(equals + 1));
      // Some servers use single quotes.
      while (!value.empty() && (value.front() == '"' || value.front() == '\'')) {
        value.remove_prefix(1);
      }
      value = value.substr(0, value.find_first_of("\"'"));
      if (!value.empty()) return {base::TrimWebSpace(value), begin, end};
    }
    begin = end;
  }
  return {{}, parameters.size(), parameters.size()};
}

}  // namespace

ContentType::ContentType(std::string_view value) noexcept {
  const std::size_t semicolon = std::min(value.find(';'), value.size());
  type = base::TrimWebSpace(value.substr(0, semicolon));
  parameters = value.substr(semicolon);
}

bool ContentType::Is(std::string_view type_in_lower_case) const noexcept {
  return base::EqualNoCase(type, type_in_lower_case);
}

std::string_view ContentType::Charset() const noexcept {
  return FindCharset(parameters).value;
}

std::string ContentType::WithCharset(std::string_view charset) const {
  const CharsetParameter old = FindCharset(parameters);
  std::string value(type);
  value += parameters.substr(0, old.begin);
  value += "; charset=";
  value += charset;
  value += parameters.substr(old.end);
  return value;
}

std::string WithKnownType(std::string_view content_type) {
  const ContentType parsed(content_type);
  for (const MimeAlias &alias : MIME_ALIASES) {
    if (!parsed.Is(alias.name)) continue;
    return std::string(alias.known_as).append(parsed.parameters);
  }
  return std::string(content_type);
}

}  // namespace velmora::host
