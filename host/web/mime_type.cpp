#include "host/web/mime_type.h"

#include <algorithm>
#include <utility>

#include "base/ascii.h"

namespace velmora::host {
namespace {

constexpr std::string_view HTTP_WHITE_SPACE = " \t\r\n";

struct KnownType {
  std::string_view essence;
  BodyKind kind;
};

constexpr KnownType KNOWN_TYPES[] = {
    {"text/html", BodyKind::HTML},
    {"application/xhtml+xml", BodyKind::HTML},
    {"application/vnd.wap.xhtml+xml", BodyKind::HTML},
    {"text/xml", BodyKind::XML},
    {"application/xml", BodyKind::XML},
    {"image/svg+xml", BodyKind::XML},
    {"text/xsl", BodyKind::XML},
    {"application/mathml+xml", BodyKind::XML},
    {"application/rdf+xml", BodyKind::XML},
    {"application/x-javascript", BodyKind::JAVASCRIPT},
    {"application/javascript", BodyKind::JAVASCRIPT},
    {"application/ecmascript", BodyKind::JAVASCRIPT},
    {"application/x-ecmascript", BodyKind::JAVASCRIPT},
    {"text/javascript", BodyKind::JAVASCRIPT},
    {"text/ecmascript", BodyKind::JAVASCRIPT},
    {"text/x-javascript", BodyKind::JAVASCRIPT},
    {"text/x-ecmascript", BodyKind::JAVASCRIPT},
    {"text/jscript", BodyKind::JAVASCRIPT},
    {"text/livescript", BodyKind::JAVASCRIPT},
    {"text/javascript1.0", BodyKind::JAVASCRIPT},
    {"text/javascript1.1", BodyKind::JAVASCRIPT},
    {"text/javascript1.2", BodyKind::JAVASCRIPT},
    {"text/javascript1.3", BodyKind::JAVASCRIPT},
    {"text/javascript1.4", BodyKind::JAVASCRIPT},
    {"text/javascript1.5", BodyKind::JAVASCRIPT},
    {"text/vbscript", BodyKind::VBSCRIPT},
    {"text/vbs", BodyKind::VBSCRIPT},
    {"text/x-vbscript", BodyKind::VBSCRIPT},
    {"application/vbscript", BodyKind::VBSCRIPT},
    {"application/x-vbscript", BodyKind::VBSCRIPT},
    {"image/gif", BodyKind::GIF},
    // Browsers look at the bytes of these as if there were no type.
    {"unknown/unknown", BodyKind::UNKNOWN},
    {"application/unknown", BodyKind::UNKNOWN},
};

constexpr bool IsTokenCharacter(char c) noexcept {
  return base::IsDigitAscii(c) || base::IsLetterAscii(c) ||
         std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

constexpr bool IsToken(std::string_view text) noexcept {
  return !text.empty() && std::ranges::all_of(text, IsTokenCharacter);
}

constexpr bool IsValueCharacter(char c) noexcept {
  const auto byte = static_cast<unsigned char>(c);
  return c == '\t' || (0x20 <= byte && byte != 0x7F);
}

std::string InLowerCase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), base::ToLowerAscii);
  return lower;
}

/// A header value that is read from its front.
class Reader {
 public:
  explicit Reader(std::string_view text) noexcept : rest_(text) {}

  bool IsAtEnd() const noexcept { return rest_.empty(); }
  std::string_view TakeUntil(std::string_view ends) noexcept {
    const std::string_view taken = rest_.substr(0, rest_.find_first_of(ends));
    rest_.remove_prefix(taken.size());
    return taken;
  }
  bool Take(char c) noexcept {
    if (!rest_.starts_with(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }
  void SkipSpace() noexcept {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(HTTP_WHITE_SPACE), rest_.size()));
  }
  /// What stands in quotes, from after the first one on; one that is never closed ends with the
  /// text.
  std::string TakeQuoted() {
    std::string value;
    while (!rest_.empty() && !Take('"')) {
      // A backslash at the very end stands for itself.
      if (rest_.front() == '\\' && rest_.size() > 1) rest_.remove_prefix(1);
      value += rest_.front();
      rest_.remove_prefix(1);
    }
    return value;
  }
  /// The next of several values, with commas between them; one in quotes ends none.
  std::string_view TakeListed() noexcept {
    std::size_t end = 0;
    for (bool is_quoted = false; end < rest_.size(); ++end) {
      const char c = rest_[end];
      if (c == '"') is_quoted = !is_quoted;
      if (c == '\\' && is_quoted && end + 1 < rest_.size()) ++end;
      if (c == ',' && !is_quoted) break;
    }
    const std::string_view taken = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    return taken;
  }

 private:
  std::string_view rest_;
};

/// The value of the first parameter of the name "charset" that has one.
std::string CharsetIn(Reader parameters) {
  while (parameters.Take(';')) {
    parameters.SkipSpace();
    const std::string_view name = parameters.TakeUntil(";=");
    if (!parameters.Take('=')) continue;
    std::string value;
    const bool is_quoted = parameters.Take('"');
    if (is_quoted) value = parameters.TakeQuoted();
    const std::string_view plain = parameters.TakeUntil(";");
    if (!is_quoted) value = plain.substr(0, plain.find_last_not_of(HTTP_WHITE_SPACE) + 1);
    if (value.empty() && !is_quoted) continue;
    if (base::EqualNoCase(name, "charset") && std::ranges::all_of(value, IsValueCharacter))
      return value;
  }
  return {};
}

/// Browsers take what stands in front of a blank or a "(" for the type.
std::optional<MimeType> ParseNearly(std::string_view text) {
  Reader reader(base::Trim(text, HTTP_WHITE_SPACE));
  const std::string_view type = reader.TakeUntil(" \t\r\n;(,");
  reader.TakeUntil(";");
  auto nearly = ParseMimeType(type);
  if (nearly) nearly->charset = CharsetIn(reader);
  return nearly;
}

}  // namespace

std::optional<MimeType> ParseMimeType(std::string_view text) {
  Reader reader(base::Trim(text, HTTP_WHITE_SPACE));
  const std::string_view type = reader.TakeUntil("/");
  if (!IsToken(type) || !reader.Take('/')) return std::nullopt;
  std::string_view subtype = reader.TakeUntil(";");
  subtype = subtype.substr(0, subtype.find_last_not_of(HTTP_WHITE_SPACE) + 1);
  if (!IsToken(subtype)) return std::nullopt;
  return MimeType{InLowerCase(type) + '/' + InLowerCase(subtype), CharsetIn(reader)};
}

std::optional<MimeType> ExtractMimeType(std::string_view values) {
  std::optional<MimeType> extracted;
  for (Reader reader(values); !reader.IsAtEnd();) {
    const std::string_view value = reader.TakeListed();
    auto type = ParseMimeType(value);
    if (!type) type = ParseNearly(value);
    if (!type || type->essence == "*/*") continue;
    const bool goes_on = extracted && extracted->essence == type->essence;
    if (goes_on && type->charset.empty()) type->charset = std::move(extracted->charset);
    extracted = std::move(type);
  }
  return extracted;
}

BodyKind KindOf(const std::optional<MimeType> &type) noexcept {
  if (!type) return BodyKind::UNKNOWN;
  const auto *const known = std::ranges::find(KNOWN_TYPES, type->essence, &KnownType::essence);
  return known == std::end(KNOWN_TYPES) ? BodyKind::OTHER : known->kind;
}

}  // namespace velmora::host
