#include "host/bodies/first_bytes.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>

#include "host/web/charset_labels.h"
#include "host/web/page_charset.h"

namespace velmora::host {
namespace {

/// What can be taken out of a document that is no page without putting anything into it.
constexpr std::int32_t ACTIVE_CONTENT[] = {
    CATEGORY_JAVASCRIPT, CATEGORY_VBSCRIPT, CATEGORY_SCRIPTS,
    CATEGORY_APPLETS,    CATEGORY_ACTIVEX,  CATEGORY_FLASH,
};

CategorySet ActiveContent(const CategorySet &categories) noexcept {
  CategorySet active;
  for (const std::int32_t code : ACTIVE_CONTENT) {
    if (categories.Contains(code)) active.Insert(code);
  }
  return active;
}

BodyKind KindOf(const TransactionInfo &info, const std::optional<MimeType> &type) noexcept {
  const BodyKind kind = KindOf(type);
  const bool is_left_alone = kind == BodyKind::XML && ActiveContent(info.categories).IsEmpty();
  return is_left_alone ? BodyKind::OTHER : kind;
}

/// The plug-in's name for a kind of body; empty for those that it does not know.
std::string_view NameOf(BodyKind kind) noexcept {
  switch (kind) {
    case BodyKind::HTML:
    case BodyKind::XML:
    case BodyKind::UNKNOWN:
      return "text/html";
    case BodyKind::JAVASCRIPT:
      return "application/x-javascript";
    case BodyKind::VBSCRIPT:
      return "text/vbscript";
    case BodyKind::GIF:
      return "image/gif";
    case BodyKind::OTHER:
      break;
  }
  return {};
}

bool IsDocument(BodyKind kind) noexcept {
  return kind == BodyKind::HTML || kind == BodyKind::XML;
}

/// The type and one charset, if one is known, and nothing else.
std::string ContentType(std::string_view essence, std::string_view charset) {
  std::string value(essence);
  if (!charset.empty()) value.append("; charset=").append(charset);
  return value;
}

bool MayBeGif(std::string_view bytes) noexcept {
  constexpr std::string_view BEGIN = "GIF8";
  return bytes.substr(0, BEGIN.size()) == BEGIN.substr(0, bytes.size());
}

}  // namespace

DeclaredBody::DeclaredBody(const TransactionInfo &info)
    : type(ExtractMimeType(info.content_type.value_or(""))), kind(KindOf(info, type)) {}

TransactionInfo Presented(TransactionInfo info, const DeclaredBody &body,
                          const PresentationOptions &options) {
  const auto &[type, kind] = body;
  if (kind == BodyKind::XML && options.maps_types) {
    info.categories = ActiveContent(info.categories);
  }
  const std::string_view name = options.maps_types ? NameOf(kind) : std::string_view{};
  if (!type) {
    if (!name.empty()) info.content_type = name;
  } else if (options.maps_types || options.maps_charsets) {
    const std::string_view label = type->charset;
    info.content_type = ContentType(name.empty() ? type->essence : name,
                                    options.maps_charsets ? ConverterName(label) : label);
  }
  return info;
}

Part FirstBytes::Next() noexcept {
  if (!rest_.IsNothing()) return std::exchange(rest_, {});
  Part part = before_.Next();
  while (!is_known_ && !part.IsNothing()) {
    part = Joined(part);
    const bool is_all = part.is_last || part.bytes.size() >= waiting_.size();
    is_known_ = Read(part.bytes, is_all) || is_all;
    part.is_unwanted = is_unwanted_;
    if (is_known_) break;
    if (waiting_size_ == 0) waiting_size_ = part.bytes.copy(waiting_.data(), waiting_.size());
    part = before_.Next();
  }
  return part;
}

Part FirstBytes::Joined(Part part) noexcept {
  if (waiting_size_ == 0) return part;
  const std::size_t length = std::min(part.bytes.size(), waiting_.size() - waiting_size_);
  std::copy_n(part.bytes.data(), length, waiting_.data() + waiting_size_);
  waiting_size_ += length;
  rest_ = part;
  rest_.bytes.remove_prefix(length);
  part = {.bytes = {waiting_.data(), waiting_size_}};
  // The end goes with the last bytes.
  if (rest_.bytes.empty()) {
    part.is_last = rest_.is_last;
    part.trouble = rest_.trouble;
    rest_ = {};
  }
  return part;
}

bool FirstBytes::Read(std::string_view bytes, bool is_all) noexcept {
  if (body_.kind == BodyKind::GIF && options_.checks_gifs) is_unwanted_ = !MayBeGif(bytes);
  if (body_.kind == BodyKind::UNKNOWN && options_.maps_types && !Sniff(bytes, is_all)) return false;
  return !options_.reads_page_charset || !IsDocument(body_.kind) || ReadCharset(bytes, is_all);
}

bool FirstBytes::Sniff(std::string_view bytes, bool is_all) noexcept {
  const Sniffed sniffed = SniffPage(bytes, is_all);
  if (sniffed == Sniffed::UNDECIDED) return false;
  if (sniffed == Sniffed::HTML) body_.kind = BodyKind::HTML;
  if (sniffed == Sniffed::XML) {
    body_.kind = BodyKind::XML;
    transaction_.SetCategories(ActiveContent(transaction_.Info().categories));
  }
  const bool is_page = body_.kind == BodyKind::HTML ||
                       (body_.kind == BodyKind::XML && !transaction_.Info().categories.IsEmpty());
  if (!is_page) is_unwanted_ = true;
  return true;
}

bool FirstBytes::ReadCharset(std::string_view bytes, bool is_all) noexcept {
  if (is_unwanted_) return true;
  if (!is_all && MayBeginMark(bytes)) return false;
  std::string_view charset = MarkedCharset(bytes);
  const std::string_view label =
      body_.type ? std::string_view(body_.type->charset) : std::string_view{};
  if (charset.empty() && !ConverterName(label).empty()) return true;
  if (charset.empty())
    charset = body_.kind == BodyKind::XML ? XmlCharset(bytes) : PageCharset(bytes);
  if (charset.empty()) return true;
  try {
    const std::string_view essence = options_.maps_types || !body_.type
                                         ? NameOf(body_.kind)
                                         : std::string_view(body_.type->essence);
    transaction_.SetContentType(ContentType(essence, charset));
  } catch (const std::bad_alloc &) {
    // The page is read in the plug-in's default set.
  }
  return true;
}

}  // namespace velmora::host
