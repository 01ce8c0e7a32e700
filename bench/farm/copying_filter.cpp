// A transformation for Traffic Server that copies: what every filter in it costs at least.
//
// It takes all that there is whenever it is called, and looks at nothing.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <ts/ts.h>

namespace {

class Copy {
 public:
  explicit Copy(TSVConn connection) noexcept : connection_(connection) {}
  Copy(const Copy &) = delete;
  Copy &operator=(const Copy &) = delete;
  ~Copy() {
    if (reader_ != nullptr) TSIOBufferReaderFree(reader_);
    if (buffer_ != nullptr) TSIOBufferDestroy(buffer_);
  }

  void Pump() noexcept {
    const TSVIO input = TSVConnWriteVIOGet(connection_);
    if (output_ == nullptr) Open(TSVIONBytesGet(input));
    if (TSVIOBufferGet(input) == nullptr) return Finish(TSVIONDoneGet(input));
    const TSIOBufferReader upstream = TSVIOReaderGet(input);
    const std::int64_t size = std::min(TSVIONTodoGet(input), TSIOBufferReaderAvail(upstream));
    if (size > 0) Take(input, upstream, size);
    const bool is_all = TSVIONTodoGet(input) <= 0;
    if (is_all) Finish(TSVIONDoneGet(input));
    if (!is_all) TSVIOReenable(output_);
    TSContCall(TSVIOContGet(input),
               is_all ? TS_EVENT_VCONN_WRITE_COMPLETE : TS_EVENT_VCONN_WRITE_READY, input);
  }

  void Fail() const noexcept {
    const TSVIO input = TSVConnWriteVIOGet(connection_);
    TSContCall(TSVIOContGet(input), TS_EVENT_ERROR, input);
  }

 private:
  void Open(std::int64_t size) noexcept {
    buffer_ = TSIOBufferCreate();
    reader_ = TSIOBufferReaderAlloc(buffer_);
    output_ = TSVConnWrite(TSTransformOutputVConnGet(connection_), connection_, reader_, size);
  }

  void Take(TSVIO input, TSIOBufferReader upstream, std::int64_t size) noexcept {
    for (std::int64_t left = size; left > 0;) {
      std::int64_t in_block = 0;
      const TSIOBufferBlock block = TSIOBufferReaderStart(upstream);
      const char *const bytes = TSIOBufferBlockReadStart(block, upstream, &in_block);
      in_block = std::min(in_block, left);
      TSIOBufferWrite(buffer_, bytes, in_block);
      TSIOBufferReaderConsume(upstream, in_block);
      left -= in_block;
    }
    TSVIONDoneSet(input, TSVIONDoneGet(input) + size);
  }

  void Finish(std::int64_t size) noexcept {
    TSVIONBytesSet(output_, size);
    TSVIOReenable(output_);
  }

  const TSVConn connection_;
  TSIOBuffer buffer_ = nullptr;
  TSIOBufferReader reader_ = nullptr;
  TSVIO output_ = nullptr;
};

int OnBody(TSCont continuation, TSEvent event, void *) noexcept {
  auto *const copy = static_cast<Copy *>(TSContDataGet(continuation));
  if (TSVConnClosedGet(continuation) != 0) {
    delete copy;
    TSContDestroy(continuation);
  } else if (event == TS_EVENT_ERROR) {
    copy->Fail();
  } else if (event == TS_EVENT_VCONN_WRITE_COMPLETE) {
    TSVConnShutdown(TSTransformOutputVConnGet(continuation), 0, 1);
  } else {
    copy->Pump();
  }
  return 0;
}

int OnResponse(TSCont, TSEvent, void *data) noexcept {
  const auto transaction = static_cast<TSHttpTxn>(data);
  const TSVConn connection = TSTransformCreate(OnBody, transaction);
  TSContDataSet(connection, new Copy(connection));
  TSHttpTxnHookAdd(transaction, TS_HTTP_RESPONSE_TRANSFORM_HOOK, connection);
  TSHttpTxnReenable(transaction, TS_EVENT_HTTP_CONTINUE);
  return 0;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void TSPluginInit(int, const char *[]) {
  TSPluginRegistrationInfo info{"copy", "Velmora", ""};
  TSPluginRegister(&info);
  TSHttpHookAdd(TS_HTTP_READ_RESPONSE_HDR_HOOK, TSContCreate(OnResponse, nullptr));
}
