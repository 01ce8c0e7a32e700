#include "host/bodies/body_stream.h"

#include <algorithm>
#include <utility>

#include <velmora/data_processor.h>

#include "host/limits/heap_trim.h"
#include "host/limits/processor_timer.h"

namespace velmora::host {
namespace {

/// Of so many bytes there may be much memory to give back.
constexpr std::uint64_t LARGE_BODY = 4U << 20;

StreamOptions Checked(StreamOptions options) noexcept {
  options.slice_size = std::max(options.slice_size, 1U);
  return options;
}

}  // namespace

BodyStream::BodyStream(Stage &before, ProcessorPointer processor, Transaction &transaction,
                       const StreamOptions &options) noexcept
    : before_(before),
      options_(Checked(options)),
      transaction_(transaction),
      buffer_(options.edits),
      processor_(std::move(processor)) {
  if (processor_ == nullptr) {
    Stop(StopReason::OUT_OF_MEMORY);
    return;
  }
  transaction_.SetLimit(options_.limits.misread_bytes);
  transaction_.SetBuffer(buffer_);
  const MemoryWatch memory;
  processor_->SetContext(&transaction_);
  const bool is_supported = processor_->IsSupported();
  if (const auto reason = Trouble(memory)) {
    Stop(*reason);
  } else if (!is_supported) {
    PassRest();
  }
}

BodyStream::~BodyStream() {
  ReleaseProcessor();
  buffer_.Clear();
  GiveMemoryBack();
}

void BodyStream::ReleaseProcessor() noexcept {
  processor_.reset();
  transaction_.ForgetPluginMemory();
}

void BodyStream::GiveMemoryBack() const noexcept {
  HeapTrim &heap = HeapTrim::OfProcess();
  filtered_ >= LARGE_BODY ? heap.AfterLargeBody() : heap.AfterBody();
}

Part BodyStream::Next() noexcept {
  for (;;) {
    if (state_ == StreamState::FINISHED) {
      return {.bytes = buffer_.TakeAll(), .is_last = !std::exchange(is_end_told_, true)};
    }
    if (state_ == StreamState::PASSING && buffer_.GetSize() != 0) {
      return {.bytes = buffer_.TakeAll()};
    }
    if (state_ == StreamState::FAILED || (part_.IsNothing() && !Draw())) return {};
    if (state_ == StreamState::FILTERING) {
      ProcessSlice();
      if (state_ != StreamState::FILTERING || buffer_.GetCommitted() == 0) continue;
      return {.bytes = buffer_.TakeCommitted()};
    }
    if (state_ == StreamState::PASSING) {
      if (!part_.is_last) return std::exchange(part_, {});
      state_ = StreamState::FINISHED;
      is_end_told_ = true;
      return {.bytes = std::exchange(part_, {}).bytes, .is_last = true};
    }
  }
}

bool BodyStream::Draw() noexcept {
  part_ = before_.Next();
  if (part_.trouble) Report(*part_.trouble);
  if (part_.is_unwanted && state_ == StreamState::FILTERING) PassRest();
  return !part_.IsNothing();
}

void BodyStream::Abort() noexcept {
  ReleaseProcessor();
  buffer_.Clear();
  part_ = {};
  state_ = StreamState::FAILED;
}

void BodyStream::PassRest() noexcept {
  ReleaseProcessor();
  state_ = StreamState::PASSING;
}

void BodyStream::ProcessSlice() noexcept {
  const std::string_view slice = part_.bytes.substr(0, options_.slice_size);
  if (!buffer_.Append(slice)) return Stop(StopReason::OUT_OF_MEMORY);
  part_.bytes.remove_prefix(slice.size());
  filtered_ += slice.size();
  const bool is_last = part_.is_last && part_.bytes.empty();
  if (const auto reason = CallProcessor(is_last)) return Stop(*reason);
  if (is_last) {
    ReleaseProcessor();
    state_ = StreamState::FINISHED;
    transaction_.ReportFinished(buffer_.Saved());
  } else if (const auto reason = options_.limits.Exceeded(
                 buffer_.HeldBack(), transaction_.PluginMemory(), time_spent_)) {
    Stop(*reason);
  }
}

std::optional<StopReason> BodyStream::CallProcessor(bool is_last) noexcept {
  const std::uint32_t flags =
      (std::exchange(started_, true) ? 0 : DATA_FLAG_START) | (is_last ? DATA_FLAG_END : 0);
  buffer_.AllowToAdd(options_.limits.added_bytes.most);
  const MemoryWatch memory;
  ProcessorTimer timer;
  processor_->ProcessData(&buffer_, 0, buffer_.GetSize(), flags);
  time_spent_ += timer.Elapsed();
  return Trouble(memory);
}

std::optional<StopReason> BodyStream::Trouble(const MemoryWatch &memory) const noexcept {
  if (memory.HasFailed()) return StopReason::OUT_OF_MEMORY;
  return buffer_.EditFailure() ? buffer_.EditFailure() : transaction_.Unexamined();
}

void BodyStream::Report(StopReason reason) noexcept {
  transaction_.ReportStopped(reason);
  if (options_.limits.beyond == BeyondLimit::FAIL) Abort();
}

void BodyStream::Stop(StopReason reason) noexcept {
  Report(reason);
  if (state_ != StreamState::FAILED) PassRest();
  GiveMemoryBack();
}

}  // namespace velmora::host
