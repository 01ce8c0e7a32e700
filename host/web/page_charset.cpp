// Browsers find a page's META before they parse it, by a scan that knows comments, tags and
// attributes, and nothing else of HTML: what stands in a script counts. This is the same scan.
#include "host/web/page_charset.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "base/ascii.h"
#include "host/web/charset_labels.h"

namespace velmora::host {
namespace {

using namespace std::string_view_literals;

struct Beginning {
  std::string_view bytes;
  std::string_view converter_name;
};

constexpr Beginning BYTE_ORDER_MARKS[] = {
    {"\xEF\xBB\xBF"sv, "UTF-8"},
    {"\xFF\xFE"sv, "UTF-16LE"},
    {"\xFE\xFF"sv, "UTF-16BE"},
};
/// "<?x" in 16-bit letters.
constexpr Beginning WIDE_DECLARATIONS[] = {
    {"<\0?\0x\0"sv, "UTF-16LE"},
    {"\0<\0?\0x"sv, "UTF-16BE"},
};

template <std::size_t COUNT>
std::string_view CharsetOf(const Beginning (&beginnings)[COUNT], std::string_view bytes) noexcept {
  const auto *const found = std::ranges::find_if(
      beginnings, [&](const Beginning &b) { return bytes.starts_with(b.bytes); });
  return found == std::end(beginnings) ? std::string_view{} : found->converter_name;
}

constexpr bool IsSpace(char c) noexcept {
  return base::WEB_SPACE.find(c) != base::WEB_SPACE.npos;
}

constexpr bool IsLetter(char c) noexcept {
  return 'a' <= base::ToLowerAscii(c) && base::ToLowerAscii(c) <= 'z';
}

constexpr bool StartsWithNoCase(std::string_view text, std::string_view lower_case) noexcept {
  return base::EqualNoCase(text.substr(0, lower_case.size()), lower_case);
}

std::size_t FindNoCase(std::string_view text, std::string_view lower_case) noexcept {
  const auto *const found =
      std::search(text.begin(), text.end(), lower_case.begin(), lower_case.end(),
                  [](char c, char lower) { return base::ToLowerAscii(c) == lower; });
  const bool is_found = found != text.end() || lower_case.empty();
  return is_found ? static_cast<std::size_t>(found - text.begin()) : text.npos;
}

/// The converter's name for the label in a META or an XML declaration. A page in which this could
/// be read is in no 16-bit set, whatever it says.
std::string_view DeclaredConverter(std::string_view label) noexcept {
  const std::string_view name = ConverterName(label);
  if (name.starts_with("UTF-16")) return "UTF-8";
  return base::EqualNoCase(base::TrimWebSpace(label), "x-user-defined") ? "CP1252" : name;
}

/// The label in "text/html; charset=LABEL", read as browsers do: the word may stand anywhere.
std::string_view LabelIn(std::string_view content) noexcept {
  constexpr std::string_view WORD = "charset";
  for (std::size_t found; (found = FindNoCase(content, WORD)) != content.npos;) {
    content = base::TrimWebSpace(content.substr(found + WORD.size()));
    if (!content.starts_with('=')) continue;
    content = base::TrimWebSpace(content.substr(1));
    if (content.empty()) return {};
    if (const char quote = content.front(); quote == '"' || quote == '\'') {
      const std::size_t end = content.find(quote, 1);
      return end == content.npos ? std::string_view{} : content.substr(1, end - 1);
    }
    return content.substr(0, std::min(content.find_first_of("; \t\r\n\f"), content.size()));
  }
  return {};
}

/// What "<?xml ... encoding='LABEL' ...>" says.
std::string_view EncodingOfXml(std::string_view bytes) noexcept {
  constexpr std::string_view BLANKS = " \t\r\n\f\v";
  constexpr std::string_view WORD = "encoding";
  if (!bytes.starts_with("<?xml")) return {};
  const std::size_t end = bytes.find('>');
  if (end == bytes.npos) return {};
  std::string_view rest = bytes.substr(0, end);
  const auto skip_blanks = [&] {
    rest.remove_prefix(std::min(rest.find_first_not_of(BLANKS), rest.size()));
  };
  rest.remove_prefix(std::min(rest.find(WORD), rest.size()));
  rest.remove_prefix(std::min(WORD.size(), rest.size()));
  skip_blanks();
  if (!rest.starts_with('=')) return {};
  rest.remove_prefix(1);
  skip_blanks();
  if (!rest.starts_with('"') && !rest.starts_with('\'')) return {};
  const std::size_t label_end = rest.find(rest.front(), 1);
  if (label_end == rest.npos) return {};
  return DeclaredConverter(rest.substr(1, label_end - 1));
}

struct Attribute {
  std::string_view name;
  std::string_view value;
};

class Scan {
 public:
  explicit Scan(std::string_view bytes) noexcept : rest_(bytes) {}

  std::string_view FindCharset() noexcept {
    while (SkipTo('<')) {
      if (rest_.starts_with("<!--")) {
        // "<!-->" is a whole comment.
        SkipBehind("-->", 2);
      } else if (StartsWithNoCase(rest_, "<meta") && IsTagEnd(5)) {
        rest_.remove_prefix(5);
        if (const std::string_view name = CharsetOfMeta(); !name.empty()) return name;
      } else if (IsLetterAt(1) || (IsAt(1, '/') && IsLetterAt(2))) {
        rest_.remove_prefix(std::min(rest_.find_first_of(" \t\r\n\f>"), rest_.size()));
        while (NextAttribute()) {
        }
      } else if (IsAt(1, '!') || IsAt(1, '/') || IsAt(1, '?')) {
        SkipBehind(">", 0);
      } else {
        rest_.remove_prefix(1);
      }
    }
    return {};
  }

 private:
  bool IsAt(std::size_t index, char c) const noexcept {
    return index < rest_.size() && rest_[index] == c;
  }
  bool IsLetterAt(std::size_t index) const noexcept {
    return index < rest_.size() && IsLetter(rest_[index]);
  }
  bool IsTagEnd(std::size_t index) const noexcept {
    return index < rest_.size() && (IsSpace(rest_[index]) || rest_[index] == '/');
  }
  bool SkipTo(char c) noexcept {
    rest_.remove_prefix(std::min(rest_.find(c), rest_.size()));
    return !rest_.empty();
  }
  void SkipBehind(std::string_view end, std::size_t from) noexcept {
    const std::size_t found = rest_.find(end, from);
    rest_.remove_prefix(found == rest_.npos ? rest_.size() : found + end.size());
  }
  void SkipAll(std::string_view characters) noexcept {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(characters), rest_.size()));
  }
  std::string_view TakeUntil(std::string_view ends) noexcept {
    const std::string_view taken = rest_.substr(0, rest_.find_first_of(ends));
    rest_.remove_prefix(taken.size());
    return taken;
  }

  /// The tag's next attribute; none at its end, and when the bytes end inside it.
  std::optional<Attribute> NextAttribute() noexcept {
    SkipAll(" \t\r\n\f/");
    if (rest_.empty() || rest_.front() == '>') return std::nullopt;
    Attribute attribute{};
    // A "=" in front belongs to the name.
    const std::size_t name_end = rest_.find_first_of("= \t\r\n\f/>", 1);
    attribute.name = rest_.substr(0, name_end);
    rest_.remove_prefix(attribute.name.size());
    SkipAll(base::WEB_SPACE);
    if (rest_.starts_with('=')) {
      rest_.remove_prefix(1);
      SkipAll(base::WEB_SPACE);
      attribute.value = TakeValue();
    }
    if (rest_.empty()) return std::nullopt;
    return attribute;
  }

  std::string_view TakeValue() noexcept {
    if (!rest_.starts_with('"') && !rest_.starts_with('\'')) return TakeUntil(" \t\r\n\f>");
    const char quote = rest_.front();
    rest_.remove_prefix(1);
    const std::string_view value = TakeUntil(std::string_view(&quote, 1));
    if (!rest_.empty()) rest_.remove_prefix(1);
    return value;
  }

  std::string_view CharsetOfMeta() noexcept {
    bool is_content_type = false;
    std::string_view from_charset;
    std::string_view from_content;
    while (const auto attribute = NextAttribute()) {
      if (base::EqualNoCase(attribute->name, "http-equiv")) {
        is_content_type = base::EqualNoCase(attribute->value, "content-type");
      } else if (base::EqualNoCase(attribute->name, "content")) {
        from_content = DeclaredConverter(LabelIn(attribute->value));
      } else if (base::EqualNoCase(attribute->name, "charset")) {
        from_charset = DeclaredConverter(attribute->value);
      }
    }
    // The bytes end inside the element: what it says is not known yet.
    if (rest_.empty()) return {};
    if (!from_charset.empty()) return from_charset;
    return is_content_type ? from_content : std::string_view{};
  }

  std::string_view rest_;
};

}  // namespace

std::string_view MarkedCharset(std::string_view bytes) noexcept {
  return CharsetOf(BYTE_ORDER_MARKS, bytes);
}

bool MayBeginMark(std::string_view bytes) noexcept {
  const auto may_begin = [&](const Beginning &beginning) {
    return bytes.size() < beginning.bytes.size() && beginning.bytes.starts_with(bytes);
  };
  return std::ranges::any_of(BYTE_ORDER_MARKS, may_begin) ||
         std::ranges::any_of(WIDE_DECLARATIONS, may_begin);
}

std::string_view PageCharset(std::string_view bytes) noexcept {
  bytes = bytes.substr(0, PAGE_CHARSET_BYTES);
  if (const auto wide = CharsetOf(WIDE_DECLARATIONS, bytes); !wide.empty()) return wide;
  const std::string_view declared = Scan(bytes).FindCharset();
  return declared.empty() ? EncodingOfXml(bytes) : declared;
}

std::string_view XmlCharset(std::string_view bytes) noexcept {
  bytes = bytes.substr(0, PAGE_CHARSET_BYTES);
  const std::string_view wide = CharsetOf(WIDE_DECLARATIONS, bytes);
  return wide.empty() ? EncodingOfXml(bytes) : wide;
}

}  // namespace velmora::host
