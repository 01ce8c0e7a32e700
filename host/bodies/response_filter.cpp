#include "host/bodies/response_filter.h"

#include <new>
#include <utility>

#include "host/web/charset_labels.h"
#include "host/web/content_type.h"
#include "host/web/page_charset.h"

namespace velmora::host {
namespace {

/// The info with a type in the plug-in's words.
TransactionInfo Presented(TransactionInfo info, const ResponseOptions &options) {
  if (!info.content_type) return info;
  if (options.maps_types) info.content_type = WithKnownType(*info.content_type);
  if (options.maps_charsets) {
    const ContentType type(*info.content_type);
    const std::string_view name = ConverterName(type.Charset());
    if (!name.empty()) info.content_type = type.WithCharset(name);
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
      transaction_(Presented(std::move(info), options), sink),
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
    const auto [bytes, is_last] = NextPart();
    if (bytes.empty() && !is_last) return {};
    if (!bytes.empty() && !std::exchange(has_read_first_bytes_, true)) ReadFirstBytes(bytes);
    if (const auto out = is_last ? stream_.Finish(bytes) : stream_.Push(bytes); !out.empty()) {
      return out;
    }
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

void ResponseFilter::ReadFirstBytes(std::string_view bytes) noexcept {
  const auto &content_type = transaction_.Info().content_type;
  if (State() != StreamState::FILTERING || !content_type) return;
  const ContentType type(*content_type);
  if (options_.checks_gifs && type.Is("image/gif") && !MayBeGif(bytes)) return stream_.PassRest();
  if (!options_.reads_page_charset || !type.Is("text/html") || !type.Charset().empty()) return;
  const std::string_view charset = PageCharset(bytes);
  if (charset.empty()) return;
  try {
    transaction_.SetContentType(type.WithCharset(charset));
  } catch (const std::bad_alloc &) {
    // The page is read in the plug-in's default set.
  }
}

void ResponseFilter::ReportCoding(StopReason reason) noexcept {
  transaction_.ReportStopped(reason);
  if (options_.stream.limits.beyond == BeyondLimit::FAIL) stream_.Abort();
}

}  // namespace velmora::host
