#include "html/data_html2.h"

#include <utility>

#include "core/byte_order.h"
#include "core/host_extensions.h"
#include "core/switches.h"
#include "diag/log.h"
#include "html/charset.h"
#include "html/charset_handlers.h"

namespace velmora {

CDataHTML2::CDataHTML2(FilterMaker make_filters) : make_filters_(std::move(make_filters)) {
  if (switches::HTML_OBJECT_TRACE) Log("CDataHTML2\n");
}

CDataHTML2::~CDataHTML2() {
  if (switches::HTML_OBJECT_TRACE) Log("~CDataHTML2\n");
  Clear();
}

bool CDataHTML2::Attach() {
  handlers_.Clear();
  if (context() == nullptr) return true;
  handlers_.AddMade([this] { return MakeCharsetHandlerMap(*context(), encodings_); });
  if (make_filters_) make_filters_(*context(), handlers_);
  return true;
}

void CDataHTML2::Clear() noexcept {
  elements_.Clear();
  handlers_.Clear();
  encodings_.Clear();
}

void CDataHTML2::Process(const Chunk &chunk) {
  page_.Enter(chunk);
  position_.EnterCall(chunk.offset());
  read_ahead_.EnterCall();
  elements_.Rebase();
  if (chunk.IsStart()) Start();
  if (encodings_.IsEmpty()) {
    // Not a single character can be read: the body passes untouched.
    position_ = {};
    return;
  }
  ReadCharacters();
  if (chunk.IsEnd()) Finish();
  position_.LeaveCall(chunk.buffer());
  TellMemoryIfMuch();
}

void CDataHTML2::TellMemoryIfMuch() noexcept {
  // No page that means well comes to so much.
  constexpr std::size_t MUCH = 256U << 10;
  const std::size_t memory = elements_.Memory();
  has_told_memory_ |= memory > MUCH;
  if (has_told_memory_ && context() != nullptr) TellMemory(*context(), memory);
}

void CDataHTML2::Start() {
  if (switches::HTML_BODY_TRACE) Log("HTML START\n");
  PushStartEncoding(context() == nullptr ? nullptr : context()->GetProperty(PROPERTY_CONTENT_TYPE),
                    encodings_);
}

void CDataHTML2::ReadCharacters() {
  RefreshBytes();
  // A host may present less than was left to it.
  position_.Follow(0, static_cast<std::uint32_t>(bytes_.size()));
  while (!Rest().empty()) {
    read_ahead_.Run(bytes_);
    if (Rest().empty()) return;
    if (read_ahead_.CompleteTag()) continue;
    const DecodedChar decoded = encodings_.Top().DecodeChar(Rest());
    if (decoded.IsIncomplete()) return;
    if (decoded.IsInvalid()) {
      SkipInvalidByte(Rest().front());
      continue;
    }
    if (decoded.has_unit) {
      if (tokenizer_.Take(decoded.unit) == Taken::DECODED_ANEW) continue;
      place_.Advance(decoded.unit);
    }
    position_.Advance(static_cast<std::uint32_t>(decoded.consumed),
                      static_cast<std::uint32_t>(bytes_.size()));
  }
}

void CDataHTML2::SkipInvalidByte(std::uint8_t byte) {
  Log("*** INVALID INPUT: %02X\n", static_cast<unsigned>(byte));
  Log("*** ROW %d COL %d\n", place_.row, place_.column);
  position_.Advance(1, static_cast<std::uint32_t>(bytes_.size()));
}

void CDataHTML2::Finish() {
  if (switches::HTML_BODY_TRACE) Log("HTML END\n");
  tokenizer_.Finish();
  const std::int32_t change = elements_.CloseAll();
  RefreshBytes();
  position_.Follow(change, static_cast<std::uint32_t>(bytes_.size()));
  position_.DropHold();
}

void CDataHTML2::OnTag(const Tag &tag) {
  if (!tag.name.empty()) {
    const std::int32_t change =
        tag.IsEndTag() ? elements_.HandleEndTag(std::string_view(tag.name).substr(1), tag.start)
                       : elements_.HandleStartTag(tag);
    RefreshBytes();
    position_.Follow(change, static_cast<std::uint32_t>(bytes_.size()));
  }
  if (!elements_.HoldsOutput()) position_.DropHold();
}

void CDataHTML2::TestByteOrder() {
  const std::size_t begin = position_.call_offset();
  const auto byte_order = DetectByteOrder(bytes_.subspan(begin, position_.position() - begin + 1));
  if (!byte_order) return;
  Log("%s", byte_order->trace);
  if (auto encoding = MakeEncoding(byte_order->big_endian ? "UTF-16BE" : "UTF-16LE")) {
    encodings_.Push(std::move(encoding));
  }
}

void CDataHTML2::RefreshBytes() noexcept {
  const Chunk &chunk = page_.chunk();
  bytes_ = {chunk.buffer().GetData(), chunk.End()};
}

std::span<const std::uint8_t> CDataHTML2::Rest() const noexcept {
  return bytes_.subspan(position_.position());
}

}  // namespace velmora
