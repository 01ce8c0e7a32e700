#include "trafficserver/responses.h"

#include <string>
#include <string_view>
#include <utility>

#include "base/ascii.h"
#include "host/responses/filtered_response.h"
#include "host/web/stale_headers.h"
#include "trafficserver/client.h"
#include "trafficserver/counters.h"
#include "trafficserver/head_change.h"
#include "trafficserver/message.h"
#include "trafficserver/transformation.h"

namespace velmora::trafficserver {
namespace {

constexpr int NO_CONTENT = 204;
constexpr int PARTIAL_CONTENT = 206;
constexpr int NOT_MODIFIED = 304;
/// More than there ever is.
constexpr std::string_view NO_LENGTH = "1000000000000000000";

/// What the head is to be changed in when it goes to the client. The texts are literals.
struct HeadChanges {
  /// With another status it is another answer: the filter broke off in time.
  int status = 0;
  bool is_filtered = false;
  bool is_pinned = false;
  std::string_view coding;
  std::string_view security_policy;
  std::string mark;
};

void Apply(const HeadChanges &changes, Message &head) noexcept {
  const bool is_filtered = changes.is_filtered && head.Status() == changes.status;
  if (is_filtered) {
    for (const char *const name : host::STALE_HEADERS) head.Remove(name);
  }
  if (is_filtered && !changes.coding.empty()) head.Add("Content-Encoding", changes.coding);
  if (changes.is_pinned && head.Status() == TS_HTTP_STATUS_FORBIDDEN) {
    head.Add("X-Velmora", host::PINNED_REFUSAL);
  }
  if (is_filtered) head.Add("X-Velmora", changes.mark);
  if (!changes.security_policy.empty()) {
    head.Add("Content-Security-Policy", changes.security_policy);
  }
}

/// Hides from Traffic Server that the body is in chunks: it takes a length to be told, and has the
/// body end before that. Not where the cache keeps what comes.
Transformation::Body HideChunks(TSHttpTxn transaction, Message &response) noexcept {
  TSMgmtInt has_cache = 1;
  TSHttpTxnConfigIntGet(transaction, TS_CONFIG_HTTP_CACHE_HTTP, &has_cache);
  if (has_cache != 0 || !base::EqualNoCase(response.Value("Transfer-Encoding"), "chunked")) {
    return Transformation::Body::PLAIN;
  }
  response.Remove("Transfer-Encoding");
  response.Remove("Content-Length");
  response.Add("Content-Length", NO_LENGTH);
  return Transformation::Body::CHUNKED;
}

TSEvent Begin(const std::shared_ptr<const host::Filtering> &filtering, TSHttpTxn transaction,
              Message &response) {
  using Way = host::FilteredResponse::Way;
  const Message request(transaction, TSHttpTxnClientReqGet);
  if (!request || request.Method() == TS_HTTP_METHOD_CONNECT) return TS_EVENT_HTTP_CONTINUE;
  Count(Counter::RESPONSES);
  const int status = response.Status();
  const bool has_body = request.Method() != TS_HTTP_METHOD_HEAD && status >= 200 &&
                        status != NO_CONTENT && status != NOT_MODIFIED;
  Who who = WhoAsks(transaction, filtering->policy);
  auto decided = std::make_unique<host::FilteredResponse>(
      filtering,
      host::ResponseHead{.url = Url(transaction),
                         .client = std::move(who.client),
                         .user = who.user,
                         .groups = who.groups,
                         .has_body = has_body,
                         .is_asked_for_part = status == PARTIAL_CONTENT && request.Has("Range"),
                         .is_script_with_cors = host::IsScriptWithCors(
                             request.Value("Sec-Fetch-Dest"), request.Value("Sec-Fetch-Mode")),
                         .content_type = response.Joined("Content-Type"),
                         .security_policy = response.Joined("Content-Security-Policy").value_or(""),
                         .content_encoding = response.Value("Content-Encoding"),
                         .accept_encoding = request.Value("Accept-Encoding")});
  if (decided->TheWay() == Way::REFUSED) {
    Count(Counter::RESPONSES_REFUSED);
    TSHttpTxnStatusSet(transaction, TS_HTTP_STATUS_BAD_GATEWAY);
    return TS_EVENT_HTTP_ERROR;
  }
  const bool is_filtered = decided->TheWay() == Way::FILTERED;
  HeadChanges changes{.status = status,
                      .is_filtered = is_filtered,
                      .is_pinned = decided->IsPinned(),
                      .coding = decided->SentCoding(),
                      .security_policy = decided->SecurityPolicy(),
                      .mark = decided->Mark()};
  // All that takes memory comes before anything is changed: the head and the body go together.
  std::unique_ptr<Transformation> filter;
  if (is_filtered) filter = std::make_unique<Transformation>(transaction, std::move(decided));
  if (is_filtered || !changes.security_policy.empty()) {
    ChangeHeadWhenSent(transaction, [changes = std::move(changes)](Message &head) noexcept {
      Apply(changes, head);
    });
  }
  if (is_filtered) {
    Count(Counter::RESPONSES_FILTERED);
    Transformation::Add(std::move(filter), HideChunks(transaction, response));
  }
  return TS_EVENT_HTTP_CONTINUE;
}

TSEvent BeginFromOrigin(const std::shared_ptr<const host::Filtering> &filtering,
                        TSHttpTxn transaction) {
  Message response(transaction, TSHttpTxnServerRespGet);
  if (!response) return TS_EVENT_HTTP_CONTINUE;
  if (response.Status() == NOT_MODIFIED) {
    // What the cache has is still good, and goes to who has nothing yet.
    Message cached(transaction, TSHttpTxnCachedRespGet);
    if (cached) return Begin(filtering, transaction, cached);
  }
  return Begin(filtering, transaction, response);
}

TSEvent BeginFromCache(const std::shared_ptr<const host::Filtering> &filtering,
                       TSHttpTxn transaction) {
  int status = TS_CACHE_LOOKUP_MISS;
  TSHttpTxnCacheLookupStatusGet(transaction, &status);
  // What is stale is decided about when its origin has spoken.
  if (status != TS_CACHE_LOOKUP_HIT_FRESH) return TS_EVENT_HTTP_CONTINUE;
  Message cached(transaction, TSHttpTxnCachedRespGet);
  return cached ? Begin(filtering, transaction, cached) : TS_EVENT_HTTP_CONTINUE;
}

}  // namespace

TSEvent BeginResponse(const std::shared_ptr<const host::Filtering> &filtering,
                      TSHttpTxn transaction, Source source) noexcept {
  try {
    return source == Source::ORIGIN ? BeginFromOrigin(filtering, transaction)
                                    : BeginFromCache(filtering, transaction);
  } catch (...) {
    return host::MayPass(*filtering) ? TS_EVENT_HTTP_CONTINUE : TS_EVENT_HTTP_ERROR;
  }
}

}  // namespace velmora::trafficserver
