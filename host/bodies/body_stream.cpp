#include "host/bodies/body_stream.h"

#include <algorithm>
#include <cassert>
#include <malloc.h>
#include <utility>

#include <velmora/data_processor.h>

#include "host/limits/memory_watch.h"

namespace velmora::host {
namespace {

/// Of so many bytes there may be much memory to give back.
constexpr std::uint64_t LARGE_BODY = 4U << 20;

StreamOptions Checked(StreamOptions options) noexcept {
  options.slice_size = std::max(options.slice_size, 1U);
  return options;
}

}  // namespace

BodyStream::BodyStream(ProcessorPointer processor, Transaction &transaction,
                       const StreamOptions &options) noexcept
    : options_(Checked(options)),
      transaction_(transaction),
      buffer_(options.edits),
      processor_(std::move(processor)) {
  if (processor_ == nullptr) {
    Stop(StopReason::OUT_OF_MEMORY);
    return;
  }
  const MemoryWatch memory;
  processor_->SetContext(&transaction_);
  const bool is_supported = processor_->IsSupported();
  if (memory.HasFailed() || transaction_.HasUnexamined()) {
    Stop(StopReason::OUT_OF_MEMORY);
  } else if (!is_supported) {
    PassRest();
  }
}

BodyStream::~BodyStream() {
  if (filtered_ < LARGE_BODY) return;
  // What the plug-in took for a large body it took in small pieces, and the heap does not give
  // those back by itself.
  processor_.reset();
  buffer_.Clear();
  malloc_trim(0);
}

bool BodyStream::Wait(std::string_view bytes) noexcept {
  if (buffer_.Append(bytes)) return true;
  Stop(StopReason::OUT_OF_MEMORY);
  return false;
}

std::string_view BodyStream::Push(std::string_view piece) noexcept {
  assert(piece_.empty() && !piece_is_last_);
  piece_ = piece;
  has_waiting_ = !started_ && buffer_.GetSize() != 0;
  return Next();
}

std::string_view BodyStream::Finish(std::string_view last_piece) noexcept {
  assert(piece_.empty() && !piece_is_last_);
  piece_ = last_piece;
  piece_is_last_ = true;
  return Next();
}

std::string_view BodyStream::Next() noexcept {
  while (state_ == StreamState::FILTERING && (!piece_.empty() || piece_is_last_ || has_waiting_)) {
    ProcessSlice();
    if (state_ != StreamState::FILTERING) break;
    if (buffer_.GetCommitted() != 0) return buffer_.TakeCommitted();
  }
  switch (state_) {
    case StreamState::FILTERING:
      return {};
    case StreamState::FAILED:
      // What else is pushed is dropped.
      piece_ = {};
      piece_is_last_ = false;
      return {};
    case StreamState::FINISHED:
      return buffer_.TakeAll();
    case StreamState::PASSING:
      break;
  }
  if (buffer_.GetSize() != 0) return buffer_.TakeAll();
  if (piece_is_last_) state_ = StreamState::FINISHED;
  return std::exchange(piece_, {});
}

void BodyStream::Abort() noexcept {
  processor_.reset();
  buffer_.Clear();
  piece_ = {};
  state_ = StreamState::FAILED;
}

void BodyStream::PassRest() noexcept {
  processor_.reset();
  state_ = StreamState::PASSING;
}

void BodyStream::ProcessSlice() noexcept {
  const std::string_view slice = piece_.substr(0, options_.slice_size);
  if (!buffer_.Append(slice)) return Stop(StopReason::OUT_OF_MEMORY);
  piece_.remove_prefix(slice.size());
  filtered_ += slice.size();
  has_waiting_ = false;
  const bool is_last = piece_is_last_ && piece_.empty();
  const bool has_memory = CallProcessor(is_last);
  if (!has_memory || buffer_.EditFailed()) return Stop(StopReason::OUT_OF_MEMORY);
  if (is_last) {
    processor_.reset();
    state_ = StreamState::FINISHED;
  } else if (const auto reason = options_.limits.Exceeded(buffer_.HeldBack(), time_spent_)) {
    Stop(*reason);
  }
}

bool BodyStream::CallProcessor(bool is_last) noexcept {
  const std::uint32_t flags =
      (std::exchange(started_, true) ? 0 : DATA_FLAG_START) | (is_last ? DATA_FLAG_END : 0);
  const MemoryWatch memory;
  const auto begin = ThreadTime();
  processor_->ProcessData(&buffer_, 0, buffer_.GetSize(), flags);
  time_spent_ += ThreadTime() - begin;
  return !memory.HasFailed() && !transaction_.HasUnexamined();
}

void BodyStream::Stop(StopReason reason) noexcept {
  transaction_.ReportStopped(reason);
  if (options_.limits.beyond == BeyondLimit::FAIL) return Abort();
  PassRest();
}

}  // namespace velmora::host
