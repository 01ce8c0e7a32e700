// What Traffic Server calls: once when it loads the plug-in, then at the heads of each transaction.
//
// A line of plugin.config loads it:
//
//   trafficserver_velmora.so policy=/etc/velmora.toml
//
// With `authority=FOLDER tls-port=PORT` encrypted traffic is looked into.
//
// `traffic_ctl plugin msg velmora reload` and `traffic_ctl config reload` read all of it again.

#include <charconv>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <ts/ts.h>
#include <vector>

#include "host/policy/current_filtering.h"
#include "host/responses/filtered_response.h"
#include "trafficserver/counters.h"
#include "trafficserver/inspection.h"
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
  /// Null: encrypted traffic passes as it is.
  std::unique_ptr<const Inspection> inspection;
};
Adapter &TheAdapter() {
  static Adapter &adapter = *new Adapter;
  return adapter;
}

/// A tunnel that is looked into is not judged: what comes through it is, one by one.
TSEvent BeginRequest(const host::Filtering &filtering, TSHttpTxn transaction) noexcept {
  try {
    const Inspection *const inspection = TheAdapter().inspection.get();
    if (inspection != nullptr && inspection->Turn(filtering, transaction)) {
      return TS_EVENT_HTTP_CONTINUE;
    }
  } catch (...) {
    if (!host::MayPass(filtering)) return TS_EVENT_HTTP_ERROR;
  }
  return JudgeRequest(filtering, transaction);
}

int OnTransaction(TSCont, TSEvent event, void *data) noexcept {
  const auto transaction = static_cast<TSHttpTxn>(data);
  TSEvent outcome = TS_EVENT_HTTP_CONTINUE;
  if (const auto filtering = TheAdapter().filtering.Now()) {
    outcome = event == TS_EVENT_HTTP_READ_REQUEST_HDR ? BeginRequest(*filtering, transaction)
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

std::uint16_t Port(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size() || port == 0) {
    throw std::invalid_argument("\"" + std::string(text) + "\" is no port");
  }
  return port;
}

/// What the words in plugin.config ask for.
void Configure(const std::vector<std::string_view> &words) {
  std::filesystem::path authority;
  std::uint16_t port = 0;
  for (const std::string_view word : words) {
    const std::size_t sign = word.find('=');
    const std::string_view key = word.substr(0, sign);
    const std::string_view value = sign == word.npos ? std::string_view() : word.substr(sign + 1);
    if (key == "authority") {
      authority = value;
    } else if (key == "tls-port") {
      port = Port(value);
    } else {
      TheAdapter().files.Set(key, value);
    }
  }
  if (authority.empty() != (port == 0)) {
    throw std::invalid_argument("authority= and tls-port= go together");
  }
  TheAdapter().filtering.Configure(TheAdapter().files);
  if (port != 0) TheAdapter().inspection = std::make_unique<Inspection>(authority, port);
}

void Start(const std::vector<std::string_view> &words) {
  TSPluginRegistrationInfo info{TAG, "Velmora", ""};
  TSPluginRegister(&info);
  MakeCounters();
  Configure(words);
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
