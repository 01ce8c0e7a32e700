#include "host/bodies/response_filter.h"

#include <utility>

namespace velmora::host {
namespace {

/// The stage that takes the coding off, for a body that has one.
std::optional<DecodedBody> MakeDecoding(Stage &before, std::optional<ContentCoding> coding,
                                        const ResponseOptions &options) noexcept {
  const bool is_coded = coding && *coding != ContentCoding::IDENTITY;
  if (!is_coded || !options.decodes) return std::nullopt;
  return std::optional<DecodedBody>(std::in_place, before, *coding, options.decoding);
}

}  // namespace

ResponseFilter::ResponseFilter(ProcessorPointer processor, TransactionInfo info,
                               const ResponseHeaders &headers, TransactionSink &sink,
                               const ResponseOptions &options)
    : ResponseFilter(std::move(processor), DeclaredBody(info), info, headers, sink, options) {}

ResponseFilter::ResponseFilter(ProcessorPointer processor, DeclaredBody body, TransactionInfo &info,
                               const ResponseHeaders &headers, TransactionSink &sink,
                               const ResponseOptions &options)
    : transaction_(Presented(std::move(info), body, options.presentation), sink),
      decoded_(MakeDecoding(pieces_, ParseContentCoding(headers.content_encoding), options)),
      first_bytes_(decoded_ ? static_cast<Stage &>(*decoded_) : pieces_, transaction_,
                   std::move(body), options.presentation),
      stream_(first_bytes_, std::move(processor), transaction_, options.stream) {
  if (State() == StreamState::FILTERING) CheckCoding(headers, options);
  is_wanted_ = State() == StreamState::FILTERING;
}

ResponseFilter::~ResponseFilter() {
  if (!is_wanted_) return;
  counts_.filter_time = stream_.TimeSpent();
  counts_.is_broken_off = State() != StreamState::FINISHED;
  CountBody(counts_);
}

void ResponseFilter::CheckCoding(const ResponseHeaders &headers,
                                 const ResponseOptions &options) noexcept {
  const auto coding = ParseContentCoding(headers.content_encoding);
  if (coding == ContentCoding::IDENTITY) return;
  if (decoded_) {
    if (!options.gzips_again || !AcceptsGzip(headers.accept_encoding)) return;
    if (!encoder_.emplace(stream_).Start()) encoder_.reset();
    return;
  }
  if (options.decodes) stream_.Report(StopReason::UNKNOWN_CODING);
  if (State() != StreamState::FAILED) stream_.PassRest();
}

std::string_view ResponseFilter::Push(std::string_view piece) noexcept {
  counts_.bytes_in += piece.size();
  pieces_.Push(piece);
  return Next();
}

std::string_view ResponseFilter::Finish(std::string_view last_piece) noexcept {
  counts_.bytes_in += last_piece.size();
  pieces_.Finish(last_piece);
  return Next();
}

std::string_view ResponseFilter::Next() noexcept {
  Stage &last = encoder_ ? static_cast<Stage &>(*encoder_) : stream_;
  const Part part = State() == StreamState::FAILED ? Part{} : last.Next();
  if (State() == StreamState::FAILED) return {};
  counts_.bytes_out += part.bytes.size();
  return part.bytes;
}

}  // namespace velmora::host
