#include "host/codings/decoded_body.h"

#include <new>
#include <utility>

namespace velmora::host {
namespace {

constexpr std::size_t ROOM = 64U << 10;

}  // namespace

Part DecodedBody::Next() noexcept {
  for (;;) {
    if (is_at_end_) {
      if (std::exchange(is_end_told_, true)) return {};
      return {.is_last = true, .trouble = trouble_};
    }
    if (const std::string_view bytes = Decode(); !bytes.empty()) return {.bytes = bytes};
    if (is_at_end_) continue;
    if (coded_.is_last) {
      const bool is_whole = decoder_ == nullptr || decoder_->IsComplete();
      End(is_whole ? coded_.trouble : StopReason::TRUNCATED_CODING);
      continue;
    }
    coded_ = before_.Next();
    if (coded_.IsNothing()) return {};
  }
}

bool DecodedBody::Start() noexcept {
  if (decoder_ != nullptr) return true;
  decoder_ = MakeDecoder(coding_);
  room_.reset(new (std::nothrow) char[ROOM]);
  return decoder_ != nullptr && room_ != nullptr;
}

std::string_view DecodedBody::Decode() noexcept {
  while (!is_at_end_ && (!coded_.bytes.empty() || has_more_)) {
    if (!Start()) {
      End(StopReason::OUT_OF_MEMORY);
      return {};
    }
    const std::size_t size_before = coded_.bytes.size();
    const auto [status, produced] = decoder_->Decode(coded_.bytes, {room_.get(), ROOM});
    encoded_ += size_before - coded_.bytes.size();
    decoded_ += produced;
    has_more_ = status == Decoder::Status::NEEDS_ROOM;
    if (status == Decoder::Status::CORRUPT) End(StopReason::CORRUPT_CODING);
    if (status == Decoder::Status::OUT_OF_MEMORY) End(StopReason::OUT_OF_MEMORY);
    if (limits_.AreExceededBy(decoded_, encoded_)) End(StopReason::DECODED_SIZE);
    if (produced != 0) return {room_.get(), produced};
  }
  return {};
}

void DecodedBody::End(std::optional<StopReason> trouble) noexcept {
  is_at_end_ = true;
  trouble_ = trouble;
}

}  // namespace velmora::host
