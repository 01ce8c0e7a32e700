#include "host/codings/decoded_body.h"

#include <new>

namespace velmora::host {
namespace {

constexpr std::size_t ROOM = 64U << 10;

}  // namespace

DecodedBody::DecodedBody(ContentCoding coding, const DecodingLimits &limits) noexcept
    : limits_(limits), decoder_(MakeDecoder(coding)), room_(new (std::nothrow) char[ROOM]) {
  if (decoder_ == nullptr || room_ == nullptr) End(StopReason::OUT_OF_MEMORY);
}

void DecodedBody::Finish(std::string_view last_piece) noexcept {
  piece_ = last_piece;
  piece_is_last_ = true;
}

std::string_view DecodedBody::Next() noexcept {
  while (!is_at_end_ && (!piece_.empty() || has_more_)) {
    const std::size_t size_before = piece_.size();
    const auto [status, produced] = decoder_->Decode(piece_, {room_.get(), ROOM});
    encoded_ += size_before - piece_.size();
    decoded_ += produced;
    has_more_ = status == Decoder::Status::NEEDS_ROOM;
    if (status == Decoder::Status::CORRUPT) End(StopReason::CORRUPT_CODING);
    if (status == Decoder::Status::OUT_OF_MEMORY) End(StopReason::OUT_OF_MEMORY);
    if (limits_.AreExceededBy(decoded_, encoded_)) End(StopReason::DECODED_SIZE);
    if (produced != 0) return {room_.get(), produced};
  }
  if (!is_at_end_ && piece_is_last_) {
    is_at_end_ = true;
    if (!decoder_->IsComplete()) trouble_ = StopReason::TRUNCATED_CODING;
  }
  return {};
}

void DecodedBody::End(StopReason reason) noexcept {
  is_at_end_ = true;
  trouble_ = reason;
}

}  // namespace velmora::host
