#include "trafficserver/requests.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "host/requests/request_head.h"
#include "host/requests/request_judge.h"
#include "trafficserver/client.h"
#include "trafficserver/counters.h"
#include "trafficserver/head_change.h"
#include "trafficserver/message.h"

namespace velmora::trafficserver {
namespace {

using Header = std::pair<std::string_view, std::string>;

/// Gives the answer that Traffic Server makes of the body its status and headers.
void Complete(const host::BlockedAnswer &answer, Message &head) noexcept {
  head.SetStatus(answer.status, answer.reason);
  for (const auto &[name, value] : answer.headers) {
    head.Remove(name);
    head.Add(name, value);
  }
}

void Answer(TSHttpTxn transaction, host::BlockedAnswer answer) {
  // An empty body would be taken for none, and replaced by a page of Traffic Server's own.
  const std::string_view body = answer.body.empty() ? std::string_view("\n") : answer.body;
  auto *const copy = static_cast<char *>(TSmalloc(body.size()));
  std::memcpy(copy, body.data(), body.size());
  // Traffic Server sets it last of all, above what `Complete` says.
  const auto type = std::ranges::find(answer.headers, "Content-Type", &Header::first);
  char *const shown = type == answer.headers.end() ? nullptr : TSstrdup(type->second.c_str());
  TSHttpTxnErrorBodySet(transaction, copy, body.size(), shown);
  TSHttpTxnStatusSet(transaction, static_cast<TSHttpStatus>(answer.status));
  ChangeHeadWhenSent(transaction, [answer = std::move(answer)](Message &head) noexcept {
    Complete(answer, head);
  });
}

bool HasBody(const Message &request) noexcept {
  const std::string_view length = request.Value("Content-Length");
  return (!length.empty() && length != "0") || request.Has("Transfer-Encoding");
}

std::string Authority(const Message &request) {
  const auto [host, port] = request.TunnelTarget();
  return host + ":" + std::to_string(port);
}

class Headers final : public host::RequestHeaders {
 public:
  explicit Headers(const Message &request) noexcept : request_(request) {}

  std::string_view Value(host::RequestHeader header) const override {
    return request_.Value(host::REQUEST_HEADER_NAMES[host::IndexOf(header)]);
  }

 private:
  const Message &request_;
};

host::RequestDecision Judge(const host::Filtering &filtering, TSHttpTxn transaction) {
  const Message request(transaction, TSHttpTxnClientReqGet);
  if (!request) return {};
  const std::string_view method = request.Method();
  const std::string url = method == TS_HTTP_METHOD_CONNECT ? Authority(request) : Url(transaction);
  const Who who = WhoAsks(transaction, filtering.policy);
  return host::JudgeRequest(filtering, {.method = method,
                                        .url = url,
                                        .who = who.Get(),
                                        .has_body = HasBody(request),
                                        .headers = Headers(request)});
}

void Change(TSHttpTxn transaction, const host::RequestChange &change) noexcept {
  Message request(transaction, TSHttpTxnClientReqGet);
  if (!request) return;
  if (!change.url.empty()) request.SetUrl(change.url);
  if (const auto &[name, value] = change.header; !name.empty()) {
    request.Remove(name);
    request.Add(name, value);
  }
}

}  // namespace

TSEvent JudgeRequest(const host::Filtering &filtering, TSHttpTxn transaction) noexcept {
  try {
    Count(Counter::REQUESTS_JUDGED);
    host::RequestDecision decision = Judge(filtering, transaction);
    if (decision.change) Change(transaction, *decision.change);
    if (!decision.answer) return TS_EVENT_HTTP_CONTINUE;
    Answer(transaction, std::move(*decision.answer));
    Count(Counter::REQUESTS_BLOCKED);
    return TS_EVENT_HTTP_ERROR;
  } catch (...) {
    // What cannot be judged goes on.
    return TS_EVENT_HTTP_CONTINUE;
  }
}

}  // namespace velmora::trafficserver
