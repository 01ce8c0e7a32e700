#include "trafficserver/transformation.h"

#include <algorithm>
#include <utility>

#include "trafficserver/counters.h"

namespace velmora::trafficserver {
namespace {

/// So much may wait for the client.
constexpr std::int64_t MOST_WAITING = 256 << 10;
/// When Traffic Server is to stop taking from the origin, and when to go on.
constexpr std::int64_t HIGH_WATER = 192 << 10;
constexpr std::int64_t LOW_WATER = 64 << 10;
/// For what Traffic Server's flow control does not see, an HTTP/2 client among it.
constexpr TSHRTime LOOK_AGAIN_AFTER_MS = 50;

}  // namespace

void Transformation::Add(std::unique_ptr<Transformation> transformation, Body body) noexcept {
  Transformation *const added = transformation.release();
  const TSHttpTxn transaction = added->transaction_;
  TSHttpTxnConfigIntSet(transaction, TS_CONFIG_HTTP_FLOW_CONTROL_ENABLED, 1);
  TSHttpTxnConfigIntSet(transaction, TS_CONFIG_HTTP_FLOW_CONTROL_HIGH_WATER_MARK, HIGH_WATER);
  TSHttpTxnConfigIntSet(transaction, TS_CONFIG_HTTP_FLOW_CONTROL_LOW_WATER_MARK, LOW_WATER);
  // What the cache keeps is the original: another client's policy is another.
  TSHttpTxnUntransformedRespCache(transaction, 1);
  TSHttpTxnTransformedRespCache(transaction, 0);
  if (body == Body::CHUNKED) added->chunked_.emplace();
  added->connection_ = TSTransformCreate(OnEvent, transaction);
  TSContDataSet(added->connection_, added);
  TSHttpTxnHookAdd(transaction, TS_HTTP_RESPONSE_TRANSFORM_HOOK, added->connection_);
}

Transformation::~Transformation() {
  if (look_ != nullptr) TSActionCancel(look_);
  if (reader_ != nullptr) TSIOBufferReaderFree(reader_);
  if (buffer_ != nullptr) TSIOBufferDestroy(buffer_);
}

int Transformation::OnEvent(TSCont continuation, TSEvent event, void *) noexcept {
  auto *const self = static_cast<Transformation *>(TSContDataGet(continuation));
  if (TSVConnClosedGet(continuation) != 0) {
    delete self;
    TSContDestroy(continuation);
    return 0;
  }
  switch (event) {
    case TS_EVENT_ERROR:
      self->Tell(TS_EVENT_ERROR);
      break;
    case TS_EVENT_VCONN_WRITE_COMPLETE:
      TSVConnShutdown(TSTransformOutputVConnGet(continuation), 0, 1);
      break;
    case TS_EVENT_TIMEOUT:
      self->look_ = nullptr;
      self->Pump();
      break;
    default:
      self->Pump();
      break;
  }
  return 0;
}

bool Transformation::Open() noexcept {
  if (output_ != nullptr) return true;
  if (MustNotOpen()) return false;
  buffer_ = TSIOBufferCreate();
  reader_ = TSIOBufferReaderAlloc(buffer_);
  // How long it gets is known at its end.
  output_ = TSVConnWrite(TSTransformOutputVConnGet(connection_), connection_, reader_, INT64_MAX);
  return true;
}

bool Transformation::MustNotOpen() const noexcept {
  return response_->IsPinned() && response_->Filter().HasBlocked();
}

void Transformation::Pump() noexcept {
  if (is_over_) return;
  // What a page has pinned is sent when it is known that nothing of it goes.
  if (!response_->IsPinned()) Open();
  input_ = TSVConnWriteVIOGet(connection_);
  bool has_room = Drain();
  while (has_room && TakeBlock()) has_room = Drain();
  if (response_->Filter().State() == host::StreamState::FAILED) return BreakOff();
  if (output_ != nullptr) TSVIOReenable(output_);
  if (has_room && IsAllTaken()) return Finish();
  if (!has_room) LookAgainLater();
  Tell(TS_EVENT_VCONN_WRITE_READY);
}

bool Transformation::Drain() noexcept {
  for (;;) {
    while (!ready_.empty()) {
      if (!Open()) {
        response_->Filter().Abort();
        return false;
      }
      if (!HasRoom()) return false;
      TSIOBufferWrite(buffer_, ready_.data(), static_cast<std::int64_t>(ready_.size()));
      written_ += static_cast<std::int64_t>(ready_.size());
      ready_ = response_->Filter().Next();
    }
    if (next_piece_ == pieces_.size()) break;
    ready_ = response_->Filter().Push(pieces_[next_piece_++]);
  }
  pieces_.clear();
  next_piece_ = 0;
  if (taken_ != 0) {
    TSIOBufferReaderConsume(TSVIOReaderGet(input_), taken_);
    TSVIONDoneSet(input_, TSVIONDoneGet(input_) + std::exchange(taken_, 0));
  }
  return true;
}

bool Transformation::IsAllTaken() const noexcept {
  if (chunked_ && chunked_->IsComplete()) return true;
  // An upstream that has nothing to give takes its buffer away without a word; one that breaks off
  // closes the connection.
  return TSVIOBufferGet(input_) == nullptr || TSVIONTodoGet(input_) <= 0;
}

bool Transformation::TakeBlock() noexcept {
  if (IsAllTaken()) return false;
  const TSIOBufferReader upstream = TSVIOReaderGet(input_);
  const std::int64_t todo = std::min(TSVIONTodoGet(input_), TSIOBufferReaderAvail(upstream));
  if (todo <= 0) return false;
  std::int64_t size = 0;
  const TSIOBufferBlock block = TSIOBufferReaderStart(upstream);
  const char *const bytes = TSIOBufferBlockReadStart(block, upstream, &size);
  taken_ = std::min(size, todo);
  return Read({bytes, static_cast<std::size_t>(taken_)});
}

bool Transformation::Read(std::string_view bytes) noexcept {
  try {
    if (!chunked_) {
      pieces_.push_back(bytes);
      return true;
    }
    if (chunked_->Read(bytes, pieces_)) return true;
  } catch (...) {
    // A body of which a part is missing is broken off like one that is no chunks.
  }
  response_->Filter().Abort();
  return false;
}

void Transformation::Finish() noexcept {
  if (!std::exchange(is_finishing_, true)) {
    ready_ = response_->Filter().Finish();
    return Pump();
  }
  if (response_->Filter().State() != host::StreamState::FINISHED) return BreakOff();
  if (!Open()) return BreakOff();
  is_over_ = true;
  Count(Counter::BYTES_IN, TSVIONDoneGet(input_));
  Count(Counter::BYTES_OUT, written_);
  TSVIONBytesSet(output_, written_);
  TSVIOReenable(output_);
  Tell(TS_EVENT_VCONN_WRITE_COMPLETE);
}

void Transformation::BreakOff() noexcept {
  is_over_ = true;
  response_->Filter().Abort();
  Count(Counter::RESPONSES_BROKEN_OFF);
  // For a client to which no head was sent yet.
  TSHttpTxnStatusSet(transaction_,
                     MustNotOpen() ? TS_HTTP_STATUS_FORBIDDEN : TS_HTTP_STATUS_BAD_GATEWAY);
  if (TSVIOBufferGet(input_) != nullptr) {
    Tell(TS_EVENT_ERROR);
  } else {
    TSVConnAbort(TSTransformOutputVConnGet(connection_), 1);
  }
}

void Transformation::Tell(TSEvent event) const noexcept {
  const TSVIO input = TSVConnWriteVIOGet(connection_);
  if (TSVIOBufferGet(input) != nullptr) TSContCall(TSVIOContGet(input), event, input);
}

bool Transformation::HasRoom() const noexcept {
  return WaitingForClient() <= MOST_WAITING;
}

std::int64_t Transformation::WaitingForClient() const noexcept {
  std::int64_t waiting = TSIOBufferReaderAvail(reader_);
  if (const TSVConn client = TSHttpSsnClientVConnGet(TSHttpTxnSsnGet(transaction_))) {
    const TSVIO writing = TSVConnWriteVIOGet(client);
    if (writing != nullptr && TSVIOReaderGet(writing) != nullptr) {
      waiting += TSIOBufferReaderAvail(TSVIOReaderGet(writing));
    }
  }
  return waiting;
}

void Transformation::LookAgainLater() noexcept {
  if (look_ == nullptr) {
    look_ = TSContScheduleOnThread(connection_, LOOK_AGAIN_AFTER_MS, TSEventThreadSelf());
  }
}

}  // namespace velmora::trafficserver
