#include "host/bodies/response_filter.h"

#include <new>
#include <utility>

#include "host/web/charset_labels.h"
#include "host/web/page_charset.h"
#include "host/web/sniffing.h"

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

/// The info with a type in the plug-in's words.
TransactionInfo Presented(TransactionInfo info, const std::optional<MimeType> &type, BodyKind kind,
                          const ResponseOptions &options) {
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

bool MayBeGif(std::string_view bytes) noexcept {
  constexpr std::string_view BEGIN = "GIF8";
  return bytes.substr(0, BEGIN.size()) == BEGIN.substr(0, bytes.size());
}

}  // namespace

ResponseFilter::ResponseFilter(ProcessorPointer processor, TransactionInfo info,
                               const ResponseHeaders &headers, TransactionSink &sink,
                               const ResponseOptions &options)
    : options_(options),
      type_(ExtractMimeType(info.content_type.value_or(""))),
      kind_(KindOf(info, type_)),
      transaction_(Presented(std::move(info), type_, kind_, options), sink),
      stream_(std::move(processor), transaction_, options.stream) {
  if (State() == StreamState::FILTERING) PrepareCoding(headers);
  is_wanted_ = State() == StreamState::FILTERING;
}

void ResponseFilter::PrepareCoding(const ResponseHeaders &headers) noexcept {
  const auto coding = ParseContentCoding(headers.content_encoding);
  if (coding == ContentCoding::IDENTITY) return;
  if (!options_.decodes) return stream_.PassRest();
  if (!coding) {
    ReportCoding(StopReason::UNKNOWN_CODING);
    if (State() != StreamState::FAILED) stream_.PassRest();
    return;
  }
  decoded_.emplace(*coding, options_.decoding);
  if (options_.gzips_again && AcceptsGzip(headers.accept_encoding)) {
    if (!encoder_.emplace().Start()) encoder_.reset();
  }
}

std::string_view ResponseFilter::Push(std::string_view piece) noexcept {
  if (decoded_) {
    decoded_->Push(piece);
  } else {
    piece_ = piece;
  }
  return Next();
}

std::string_view ResponseFilter::Finish(std::string_view last_piece) noexcept {
  if (decoded_) {
    decoded_->Finish(last_piece);
  } else {
    piece_ = last_piece;
    piece_is_last_ = true;
  }
  return Next();
}

std::string_view ResponseFilter::Next() noexcept {
  if (!encoder_) return NextFiltered();
  for (;;) {
    if (State() == StreamState::FAILED) return {};
    if (const auto out = encoder_->Next(); !out.empty()) return out;
    if (const auto plain = NextFiltered(); !plain.empty()) {
      encoder_->Push(plain);
    } else if (!(State() == StreamState::FINISHED ? encoder_->Finish() : encoder_->Flush())) {
      return {};
    }
  }
}

std::string_view ResponseFilter::NextFiltered() noexcept {
  for (;;) {
    if (const auto out = stream_.Next(); !out.empty()) return out;
    if (State() == StreamState::FINISHED || State() == StreamState::FAILED) return {};
    Part part = NextPart();
    if (part.bytes.empty() && !part.is_last) return {};
    if (!has_read_first_bytes_ && !TakeFirstBytes(part)) continue;
    const auto out = part.is_last ? stream_.Finish(part.bytes) : stream_.Push(part.bytes);
    if (!out.empty()) return out;
  }
}

ResponseFilter::Part ResponseFilter::NextPart() noexcept {
  if (!decoded_) return {std::exchange(piece_, {}), piece_is_last_};
  const std::string_view bytes = decoded_->Next();
  if (!bytes.empty() || !decoded_->IsAtEnd()) return {bytes, false};
  if (const auto trouble = decoded_->Trouble()) {
    ReportCoding(*trouble);
    if (State() == StreamState::FAILED) return {{}, false};
  }
  return {{}, true};
}

bool ResponseFilter::TakeFirstBytes(Part &part) noexcept {
  const auto wait = [&](std::string_view bytes) {
    if (!stream_.Wait(bytes)) return false;
    part.bytes.remove_prefix(bytes.size());
    return true;
  };
  std::string_view bytes = part.bytes;
  const bool goes_on = !stream_.Waiting().empty();
  if (goes_on && wait(part.bytes.substr(0, SNIFFED_BYTES))) bytes = stream_.Waiting();
  has_read_first_bytes_ = ReadFirstBytes(bytes, part.is_last && (!goes_on || part.bytes.empty()));
  return has_read_first_bytes_ || !(goes_on || wait(part.bytes));
}

bool ResponseFilter::ReadFirstBytes(std::string_view bytes, bool is_all) noexcept {
  if (State() != StreamState::FILTERING) return true;
  if (kind_ == BodyKind::GIF && options_.checks_gifs && !MayBeGif(bytes)) stream_.PassRest();
  if (kind_ == BodyKind::UNKNOWN && options_.maps_types && !Sniff(bytes, is_all)) return false;
  return !options_.reads_page_charset || !IsDocument(kind_) || ReadCharset(bytes, is_all);
}

bool ResponseFilter::Sniff(std::string_view bytes, bool is_all) noexcept {
  const Sniffed sniffed = SniffPage(bytes, is_all);
  if (sniffed == Sniffed::UNDECIDED) return false;
  if (sniffed == Sniffed::HTML) kind_ = BodyKind::HTML;
  if (sniffed == Sniffed::XML) {
    kind_ = BodyKind::XML;
    transaction_.SetCategories(ActiveContent(transaction_.Info().categories));
  }
  const bool is_page = kind_ == BodyKind::HTML ||
                       (kind_ == BodyKind::XML && !transaction_.Info().categories.IsEmpty());
  if (!is_page) stream_.PassRest();
  return true;
}

bool ResponseFilter::ReadCharset(std::string_view bytes, bool is_all) noexcept {
  if (State() != StreamState::FILTERING) return true;
  if (!is_all && MayBeginMark(bytes)) return false;
  std::string_view charset = MarkedCharset(bytes);
  const std::string_view label = type_ ? std::string_view(type_->charset) : std::string_view{};
  if (charset.empty() && !ConverterName(label).empty()) return true;
  if (charset.empty()) charset = kind_ == BodyKind::XML ? XmlCharset(bytes) : PageCharset(bytes);
  if (charset.empty()) return true;
  try {
    const std::string_view essence =
        options_.maps_types || !type_ ? NameOf(kind_) : std::string_view(type_->essence);
    transaction_.SetContentType(ContentType(essence, charset));
  } catch (const std::bad_alloc &) {
    // The page is read in the plug-in's default set.
  }
  return true;
}

void ResponseFilter::ReportCoding(StopReason reason) noexcept {
  transaction_.ReportStopped(reason);
  if (options_.stream.limits.beyond == BeyondLimit::FAIL) stream_.Abort();
}

}  // namespace velmora::host
