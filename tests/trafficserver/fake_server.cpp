#include "trafficserver/fake_server.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "support/dealt_memory.h"

extern "C" void TSPluginInit(int count, const char *words[]);

namespace velmora::testing {
namespace {

/// The server's own allocations do not fail.
class OwnMemory {
 public:
  OwnMemory() noexcept : left_(std::exchange(allocations_left, ALL_SUCCEED)) {}
  OwnMemory(const OwnMemory &) = delete;
  OwnMemory &operator=(const OwnMemory &) = delete;
  ~OwnMemory() { allocations_left = left_; }

 private:
  long left_;
};

// The adapter's, for as long as the process lives.
auto &global_hooks = *new std::map<TSHttpHookID, FakeContinuation *>;
FakeContinuation *on_message = nullptr;

/// The server's types are names for nothing; these are what stands behind them here.
template <class Real, class Name>
Real *Get(Name *name) {
  return reinterpret_cast<Real *>(name);
}
template <class Name, class Real>
Name As(Real *real) {
  return reinterpret_cast<Name>(real);
}

bool IsSameName(std::string_view left, std::string_view right) {
  return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

using Field = std::pair<std::string, std::string>;

Field *Find(FakeHead &head, std::string_view name, const Field *after = nullptr) {
  bool is_reached = after == nullptr;
  for (Field &field : head.fields) {
    if (is_reached && IsSameName(field.first, name)) return &field;
    if (&field == after) is_reached = true;
  }
  return nullptr;
}

constexpr std::size_t BLOCK_SIZE = 4096;

std::string_view Waiting(const FakeBuffer &buffer) {
  return std::string_view(buffer.bytes).substr(buffer.begin);
}

}  // namespace

std::string FakeHead::Value(std::string_view name) const {
  for (const auto &[own, value] : fields) {
    if (IsSameName(own, name)) return value;
  }
  return {};
}

bool FakeTransaction::Passes(TSHttpHookID hook) {
  FakeContinuation *const adapter = global_hooks.at(hook);
  const TSEvent event = hook == TS_HTTP_READ_REQUEST_HDR_HOOK ? TS_EVENT_HTTP_READ_REQUEST_HDR
                                                              : TS_EVENT_HTTP_READ_RESPONSE_HDR;
  adapter->run(As<TSCont>(adapter), event, this);
  return outcome == TS_EVENT_HTTP_CONTINUE;
}

void FakeTransaction::CallOwn(TSHttpHookID hook, TSEvent event) {
  const auto [first, last] = hooks.equal_range(hook);
  for (auto at = first; at != last; ++at) at->second->run(As<TSCont>(at->second), event, this);
}

void FakeTransaction::Run() {
  if (!Passes(TS_HTTP_READ_REQUEST_HDR_HOOK)) throw std::logic_error("the request was blocked");
  if (allocations >= 0) allocations_left = allocations;
  allocation_failed = false;
  const bool passes = Passes(TS_HTTP_READ_RESPONSE_HDR_HOOK);
  allocations_left = ALL_SUCCEED;
  has_failed = allocation_failed;
  const auto transformation = hooks.find(TS_HTTP_RESPONSE_TRANSFORM_HOOK);
  if (passes && transformation != hooks.end()) {
    is_complete = Transform(*transformation->second);
  } else if (passes) {
    for (const std::string &piece : pieces) body += piece;
    is_complete = true;
  }
  sent = response;
  CallOwn(TS_HTTP_SEND_RESPONSE_HDR_HOOK, TS_EVENT_HTTP_SEND_RESPONSE_HDR);
  CallOwn(TS_HTTP_TXN_CLOSE_HOOK, TS_EVENT_HTTP_TXN_CLOSE);
  if (transformation != hooks.end()) {
    FakeContinuation *const closed = transformation->second;
    closed->is_closed = true;
    closed->run(As<TSCont>(closed), TS_EVENT_IMMEDIATE, nullptr);
  }
}

bool FakeTransaction::Transform(FakeContinuation &transformation) {
  FakeBuffer upstream;
  FakeContinuation writer;
  transformation.input = {.buffer = &upstream, .size = INT64_MAX, .owner = &writer};
  const auto call = [&](TSEvent event) {
    transformation.run(As<TSCont>(&transformation), event, nullptr);
    FakeBuffer *const output = transformation.output.buffer;
    if (output == nullptr) return;
    body += Waiting(*output);
    output->begin = output->bytes.size();
  };
  for (const std::string &piece : pieces) {
    upstream.bytes += piece;
    do {
      call(std::exchange(transformation.is_scheduled, false) ? TS_EVENT_TIMEOUT
                                                             : TS_EVENT_IMMEDIATE);
    } while (transformation.is_scheduled);
  }
  transformation.input.size =
      transformation.input.done + static_cast<std::int64_t>(Waiting(upstream).size());
  while (writer.told == TS_EVENT_VCONN_WRITE_READY || writer.told == TS_EVENT_NONE) {
    call(TS_EVENT_IMMEDIATE);
  }
  return writer.told == TS_EVENT_VCONN_WRITE_COMPLETE &&
         transformation.output.size == static_cast<std::int64_t>(body.size());
}

void StartAdapter(const std::vector<std::string> &words) {
  std::vector<const char *> all = {"trafficserver_velmora.so"};
  for (const std::string &word : words) all.push_back(word.c_str());
  TSPluginInit(static_cast<int>(all.size()), all.data());
}

void Reload() {
  static constexpr char WORD[] = "reload";
  TSPluginMsg message{"velmora", WORD, sizeof WORD - 1};
  on_message->run(As<TSCont>(on_message), TS_EVENT_LIFECYCLE_MSG, &message);
}

}  // namespace velmora::testing

using namespace velmora::testing;

extern "C" {

const char *TS_HTTP_METHOD_CONNECT = "CONNECT";
const char *TS_HTTP_METHOD_HEAD = "HEAD";

// Continuations.

TSCont TSContCreate(TSEventFunc run, TSMutex) {
  const OwnMemory own;
  return As<TSCont>(new FakeContinuation{.run = run});
}
void TSContDestroy(TSCont continuation) {
  delete Get<FakeContinuation>(continuation);
}
void TSContDataSet(TSCont continuation, void *data) {
  Get<FakeContinuation>(continuation)->data = data;
}
void *TSContDataGet(TSCont continuation) {
  return Get<FakeContinuation>(continuation)->data;
}
int TSContCall(TSCont continuation, TSEvent event, void *) {
  Get<FakeContinuation>(continuation)->told = event;
  return 0;
}
TSAction TSContScheduleOnThread(TSCont continuation, TSHRTime, TSEventThread) {
  Get<FakeContinuation>(continuation)->is_scheduled = true;
  return As<TSAction>(continuation);
}
void TSActionCancel(TSAction) {}
TSEventThread TSEventThreadSelf() {
  return nullptr;
}
TSMutex TSMutexCreate() {
  return nullptr;
}

// Hooks.

void TSHttpHookAdd(TSHttpHookID hook, TSCont continuation) {
  global_hooks[hook] = Get<FakeContinuation>(continuation);
}
void TSHttpTxnHookAdd(TSHttpTxn transaction, TSHttpHookID hook, TSCont continuation) {
  const OwnMemory own;
  Get<FakeTransaction>(transaction)->hooks.emplace(hook, Get<FakeContinuation>(continuation));
}
void TSHttpTxnReenable(TSHttpTxn transaction, TSEvent outcome) {
  Get<FakeTransaction>(transaction)->outcome = outcome;
}
void TSLifecycleHookAdd(TSLifecycleHookID, TSCont continuation) {
  on_message = Get<FakeContinuation>(continuation);
}
void TSMgmtUpdateRegister(TSCont, const char *) {}
TSReturnCode TSPluginRegister(const TSPluginRegistrationInfo *) {
  return TS_SUCCESS;
}
int TSStatCreate(const char *, TSRecordDataType, TSStatPersistence, TSStatSync) {
  return TS_ERROR;
}
void TSStatIntIncrement(int, TSMgmtInt) {}
void TSError(const char *format, ...) {
  va_list values;
  va_start(values, format);
  std::vfprintf(stderr, format, values);
  va_end(values);
}
void TSEmergency(const char *format, ...) {
  va_list values;
  va_start(values, format);
  std::vfprintf(stderr, format, values);
  va_end(values);
  std::abort();
}

// Transactions.

static TSReturnCode Give(FakeHead &head, TSMBuffer *buffer, TSMLoc *place) {
  *buffer = As<TSMBuffer>(&head);
  *place = As<TSMLoc>(&head);
  return TS_SUCCESS;
}
TSReturnCode TSHttpTxnClientReqGet(TSHttpTxn transaction, TSMBuffer *buffer, TSMLoc *place) {
  return Give(Get<FakeTransaction>(transaction)->request, buffer, place);
}
TSReturnCode TSHttpTxnServerRespGet(TSHttpTxn transaction, TSMBuffer *buffer, TSMLoc *place) {
  return Give(Get<FakeTransaction>(transaction)->response, buffer, place);
}
TSReturnCode TSHttpTxnClientRespGet(TSHttpTxn transaction, TSMBuffer *buffer, TSMLoc *place) {
  return Give(Get<FakeTransaction>(transaction)->sent, buffer, place);
}
TSReturnCode TSHttpTxnCachedRespGet(TSHttpTxn, TSMBuffer *, TSMLoc *) {
  return TS_ERROR;
}
TSReturnCode TSHttpTxnCacheLookupStatusGet(TSHttpTxn, int *status) {
  *status = TS_CACHE_LOOKUP_MISS;
  return TS_SUCCESS;
}
const sockaddr *TSHttpTxnClientAddrGet(TSHttpTxn transaction) {
  return reinterpret_cast<const sockaddr *>(&Get<FakeTransaction>(transaction)->client);
}
char *TSHttpTxnEffectiveUrlStringGet(TSHttpTxn transaction, int *size) {
  const std::string &url = Get<FakeTransaction>(transaction)->url;
  *size = static_cast<int>(url.size());
  return strdup(url.c_str());
}
TSHttpSsn TSHttpTxnSsnGet(TSHttpTxn) {
  return nullptr;
}
TSVConn TSHttpSsnClientVConnGet(TSHttpSsn) {
  return nullptr;
}
TSReturnCode TSHttpTxnConfigIntSet(TSHttpTxn, TSOverridableConfigKey, TSMgmtInt) {
  return TS_SUCCESS;
}
TSReturnCode TSHttpTxnConfigIntGet(TSHttpTxn, TSOverridableConfigKey, TSMgmtInt *value) {
  *value = 0;
  return TS_SUCCESS;
}
void TSHttpTxnUntransformedRespCache(TSHttpTxn, int) {}
void TSHttpTxnTransformedRespCache(TSHttpTxn, int) {}
void TSHttpTxnStatusSet(TSHttpTxn, TSHttpStatus) {}
void TSHttpTxnErrorBodySet(TSHttpTxn, char *body, size_t, char *type) {
  std::free(body);
  std::free(type);
}
TSReturnCode TSHttpTxnServerAddrSet(TSHttpTxn, const sockaddr *) {
  return TS_SUCCESS;
}
TSReturnCode TSHttpTxnOutgoingAddrSet(TSHttpTxn, const sockaddr *) {
  return TS_SUCCESS;
}
void *_TSmalloc(size_t size, const char *) {
  return std::malloc(size);
}
char *_TSstrdup(const char *text, int64_t, const char *) {
  return strdup(text);
}
void _TSfree(void *memory) {
  std::free(memory);
}

// Heads.

TSReturnCode TSHandleMLocRelease(TSMBuffer, TSMLoc, TSMLoc) {
  return TS_SUCCESS;
}
const char *TSHttpHdrMethodGet(TSMBuffer buffer, TSMLoc, int *size) {
  const std::string &method = Get<FakeHead>(buffer)->method;
  *size = static_cast<int>(method.size());
  return method.data();
}
TSHttpStatus TSHttpHdrStatusGet(TSMBuffer buffer, TSMLoc) {
  return static_cast<TSHttpStatus>(Get<FakeHead>(buffer)->status);
}
TSReturnCode TSHttpHdrStatusSet(TSMBuffer buffer, TSMLoc, TSHttpStatus status) {
  Get<FakeHead>(buffer)->status = status;
  return TS_SUCCESS;
}
TSReturnCode TSHttpHdrReasonSet(TSMBuffer, TSMLoc, const char *, int) {
  return TS_SUCCESS;
}
TSReturnCode TSHttpHdrUrlGet(TSMBuffer, TSMLoc, TSMLoc *) {
  return TS_ERROR;
}
const char *TSUrlHostGet(TSMBuffer, TSMLoc, int *) {
  return nullptr;
}
TSReturnCode TSUrlHostSet(TSMBuffer, TSMLoc, const char *, int) {
  return TS_ERROR;
}
TSReturnCode TSUrlHttpQuerySet(TSMBuffer, TSMLoc, const char *, int) {
  return TS_ERROR;
}
int TSUrlPortGet(TSMBuffer, TSMLoc) {
  return 0;
}
TSMLoc TSMimeHdrFieldFind(TSMBuffer buffer, TSMLoc, const char *name, int size) {
  return As<TSMLoc>(Find(*Get<FakeHead>(buffer), {name, static_cast<std::size_t>(size)}));
}
TSMLoc TSMimeHdrFieldNextDup(TSMBuffer buffer, TSMLoc, TSMLoc field) {
  const auto *const before = Get<Field>(field);
  return As<TSMLoc>(Find(*Get<FakeHead>(buffer), before->first, before));
}
const char *TSMimeHdrFieldValueStringGet(TSMBuffer, TSMLoc, TSMLoc field, int, int *size) {
  const std::string &value = Get<Field>(field)->second;
  *size = static_cast<int>(value.size());
  return value.data();
}
TSReturnCode TSMimeHdrFieldValueStringSet(TSMBuffer, TSMLoc, TSMLoc field, int, const char *value,
                                          int size) {
  const OwnMemory own;
  Get<Field>(field)->second.assign(value, static_cast<std::size_t>(size));
  return TS_SUCCESS;
}
TSReturnCode TSMimeHdrFieldCreateNamed(TSMBuffer buffer, TSMLoc, const char *name, int size,
                                       TSMLoc *made) {
  const OwnMemory own;
  auto &loose = Get<FakeHead>(buffer)->loose;
  *made = As<TSMLoc>(&loose.emplace_back(std::string(name, static_cast<std::size_t>(size)), ""));
  return TS_SUCCESS;
}
TSReturnCode TSMimeHdrFieldAppend(TSMBuffer buffer, TSMLoc, TSMLoc field) {
  auto *const head = Get<FakeHead>(buffer);
  const auto made =
      std::ranges::find(head->loose, Get<Field>(field), [](Field &one) { return &one; });
  head->fields.splice(head->fields.end(), head->loose, made);
  return TS_SUCCESS;
}
TSReturnCode TSMimeHdrFieldDestroy(TSMBuffer buffer, TSMLoc, TSMLoc field) {
  Get<FakeHead>(buffer)->fields.remove_if([&](Field &one) { return &one == Get<Field>(field); });
  return TS_SUCCESS;
}

// Buffers: each has one reader, which is the same.

TSIOBuffer TSIOBufferCreate() {
  const OwnMemory own;
  return As<TSIOBuffer>(new FakeBuffer);
}
void TSIOBufferDestroy(TSIOBuffer buffer) {
  delete Get<FakeBuffer>(buffer);
}
TSIOBufferReader TSIOBufferReaderAlloc(TSIOBuffer buffer) {
  return As<TSIOBufferReader>(buffer);
}
void TSIOBufferReaderFree(TSIOBufferReader) {}
int64_t TSIOBufferReaderAvail(TSIOBufferReader reader) {
  return static_cast<int64_t>(Waiting(*Get<FakeBuffer>(reader)).size());
}
void TSIOBufferReaderConsume(TSIOBufferReader reader, int64_t size) {
  Get<FakeBuffer>(reader)->begin += static_cast<std::size_t>(size);
}
TSIOBufferBlock TSIOBufferReaderStart(TSIOBufferReader reader) {
  return As<TSIOBufferBlock>(reader);
}
const char *TSIOBufferBlockReadStart(TSIOBufferBlock, TSIOBufferReader reader, int64_t *size) {
  const std::string_view block = Waiting(*Get<FakeBuffer>(reader)).substr(0, BLOCK_SIZE);
  *size = static_cast<int64_t>(block.size());
  return block.data();
}
int64_t TSIOBufferWrite(TSIOBuffer buffer, const void *bytes, int64_t size) {
  const OwnMemory own;
  Get<FakeBuffer>(buffer)->bytes.append(static_cast<const char *>(bytes),
                                        static_cast<size_t>(size));
  return size;
}

// Connections.

TSVConn TSTransformCreate(TSEventFunc run, TSHttpTxn) {
  return TSContCreate(run, nullptr);
}
TSVConn TSTransformOutputVConnGet(TSVConn connection) {
  return connection;
}
int TSVConnClosedGet(TSVConn connection) {
  return Get<FakeContinuation>(connection)->is_closed ? 1 : 0;
}
TSVIO TSVConnWriteVIOGet(TSVConn connection) {
  return As<TSVIO>(&Get<FakeContinuation>(connection)->input);
}
TSVIO TSVConnWrite(TSVConn connection, TSCont, TSIOBufferReader reader, int64_t size) {
  FakeVio &output = Get<FakeContinuation>(connection)->output;
  output = {.buffer = Get<FakeBuffer>(reader), .size = size};
  return As<TSVIO>(&output);
}
void TSVConnShutdown(TSVConn, int, int) {}
void TSVConnAbort(TSVConn, int) {}
void TSVConnReenable(TSVConn) {}
TSSslConnection TSVConnSslConnectionGet(TSVConn) {
  return nullptr;
}
const sockaddr *TSNetVConnRemoteAddrGet(TSVConn) {
  return nullptr;
}
TSIOBuffer TSVIOBufferGet(TSVIO vio) {
  return As<TSIOBuffer>(Get<FakeVio>(vio)->buffer);
}
TSIOBufferReader TSVIOReaderGet(TSVIO vio) {
  return As<TSIOBufferReader>(Get<FakeVio>(vio)->buffer);
}
TSCont TSVIOContGet(TSVIO vio) {
  return As<TSCont>(Get<FakeVio>(vio)->owner);
}
int64_t TSVIONDoneGet(TSVIO vio) {
  return Get<FakeVio>(vio)->done;
}
void TSVIONDoneSet(TSVIO vio, int64_t done) {
  Get<FakeVio>(vio)->done = done;
}
void TSVIONBytesSet(TSVIO vio, int64_t size) {
  Get<FakeVio>(vio)->size = size;
}
int64_t TSVIONTodoGet(TSVIO vio) {
  return Get<FakeVio>(vio)->size - Get<FakeVio>(vio)->done;
}
void TSVIOReenable(TSVIO) {}

}  // extern "C"
