// What Traffic Server calls: once when it loads the plug-in, then at the heads of each transaction.
//
// A line of plugin.config loads it:
//
//   trafficserver_velmora.so policy=/etc/velmora.toml
//
// `traffic_ctl plugin msg velmora reload` and `traffic_ctl config reload` read all of it again.

#include <exception>
#include <string_view>
#include <ts/ts.h>
#include <vector>

#include "host/policy/current_filtering.h"
#include "trafficserver/counters.h"
#include "trafficserver/requests.h"
#include "trafficserver/responses.h"

#define VELMORA_EXPORT __attribute__((visibility("default")))

namespace velmora::trafficserver {
namespace {

constexpr const char *TAG = "velmora";

/// For as long as the process lives: threads may still be at work when it ends.
struct Adapter {
  host::CurrentFiltering filtering{
      [](std::string_view line) { TSError("velmora: %.*s", int(line.size()), line.data()); }};
  host::FilterFiles files = host::FilterFiles::OfInstallation();
};
Adapter &TheAdapter() {
  static Adapter &adapter = *new Adapter;
  return adapter;
}

int OnTransaction(TSCont, TSEvent event, void *data) noexcept {
  const auto transaction = static_cast<TSHttpTxn>(data);
  TSEvent outcome = TS_EVENT_HTTP_CONTINUE;
  if (const auto filtering = TheAdapter().filtering.Now()) {
    outcome = event == TS_EVENT_HTTP_READ_REQUEST_HDR ? JudgeRequest(*filtering, transaction)
              : event == TS_EVENT_HTTP_READ_RESPONSE_HDR
                  ? BeginResponse(filtering, transaction, Source::ORIGIN)
                  : BeginResponse(filtering, transaction, Source::CACHE);
  }
  TSHttpTxnReenable(transaction, outcome);
  return 0;
}

int OnReload(TSCont, TSEvent event, void *data) noexcept {
  if (event == TS_EVENT_LIFECYCLE_MSG) {
    const auto *const message = static_cast<const TSPluginMsg *>(data);
    const std::string_view text(static_cast<const char *>(message->data), message->data_size);
    if (std::string_view(message->tag) != TAG || !text.starts_with("reload")) return 0;
  }
  TheAdapter().filtering.Configure(TheAdapter().files);
  return 0;
}

void AddHooks() {
  const TSCont transactions = TSContCreate(OnTransaction, nullptr);
  for (const TSHttpHookID hook : {TS_HTTP_READ_REQUEST_HDR_HOOK, TS_HTTP_READ_RESPONSE_HDR_HOOK,
                                  TS_HTTP_CACHE_LOOKUP_COMPLETE_HOOK}) {
    TSHttpHookAdd(hook, transactions);
  }
  const TSCont reload = TSContCreate(OnReload, TSMutexCreate());
  TSLifecycleHookAdd(TS_LIFECYCLE_MSG_HOOK, reload);
  TSMgmtUpdateRegister(reload, TAG);
}

void Start(const std::vector<std::string_view> &words) {
  TSPluginRegistrationInfo info{TAG, "Velmora", ""};
  TSPluginRegister(&info);
  for (const std::string_view word : words) {
    const std::size_t sign = word.find('=');
    TheAdapter().files.Set(word.substr(0, sign),
                           sign == word.npos ? std::string_view() : word.substr(sign + 1));
  }
  MakeCounters();
  TheAdapter().filtering.Configure(TheAdapter().files);
  AddHooks();
}

}  // namespace
}  // namespace velmora::trafficserver

extern "C" VELMORA_EXPORT void TSPluginInit(int count, const char *words[]) {
  try {
    velmora::trafficserver::Start({words + 1, words + count});
  } catch (const std::exception &error) {
    // Without a filter nothing may go through; and another start would not go better.
    TSEmergency("velmora: %s", error.what());
  } catch (...) {
    TSEmergency("velmora: cannot be started");
  }
}
