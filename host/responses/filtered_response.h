// FilteredResponse: what becomes of one response, decided once for every proxy.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/bodies/response_filter.h"
#include "host/policy/filtering.h"

namespace velmora::host {

/// What a response and its request say of themselves, as far as it matters here. The views are the
/// caller's, for as long as the decision takes.
struct ResponseHead {
  /// Of the request, absolute.
  std::string url{};
  /// Empty when unknown.
  std::string client{};
  /// As `Asker` has them.
  std::string_view user{};
  std::string_view groups{};
  /// Answers to HEAD and such have none.
  bool has_body = true;
  /// The answer's status is 206, and the request has a Range.
  bool is_asked_for_part = false;
  /// The request is one for a script, with CORS.
  bool is_script_with_cors = false;
  /// The values of all lines, with commas between them; none when there is no line.
  std::optional<std::string> content_type{};
  /// Content-Security-Policy; empty when there is no line.
  std::string security_policy{};
  std::string_view content_encoding{};
  /// Of the request.
  std::string_view accept_encoding{};
};

/// Is this a request as scripts of other sites have to be made that a page pins, by its
/// Sec-Fetch-Dest and Sec-Fetch-Mode?
constexpr bool IsScriptWithCors(std::string_view dest, std::string_view mode) noexcept {
  return dest == "script" && mode == "cors";
}

/// X-Velmora of the answer in the place of a pinned script that is refused.
inline constexpr const char *PINNED_REFUSAL = "blocked; reason=integrity";

/// One transaction's, used by one thread at a time.
class FilteredResponse {
 public:
  enum class Way {
    /// It goes on as it is, unless `SecurityPolicy` says something.
    UNTOUCHED,
    /// Its body goes through `Filter`; `STALE_HEADERS` and its length do not hold any more.
    FILTERED,
    /// It must not go on.
    REFUSED,
  };

  /// Throws `std::bad_alloc`; what to do then, `MayPass` says.
  FilteredResponse(std::shared_ptr<const Filtering> filtering, ResponseHead head);
  FilteredResponse(const FilteredResponse &) = delete;
  FilteredResponse &operator=(const FilteredResponse &) = delete;

  Way TheWay() const noexcept { return way_; }
  /// Only with `FILTERED`.
  ResponseFilter &Filter() noexcept { return *filter_; }
  /// A page that came by, or may have, has pinned this script: the adapter waits with the head
  /// until the filter gives bytes or is at its end, and refuses the response when anything was
  /// blocked.
  bool IsPinned() const noexcept { return is_pinned_; }
  /// The value of X-Velmora with `FILTERED`. How many items go is not known before the body's end,
  /// and the header is sent before it: `velmora why` tells of the id.
  std::string Mark() const { return id_.empty() ? "filtered" : "filtered; id=" + id_; }
  /// "gzip", or empty: what Content-Encoding the body has when it comes out of the filter.
  std::string_view SentCoding() const noexcept {
    return filter_ && filter_->SentCoding() == ContentCoding::GZIP ? "gzip" : "";
  }
  /// The value of a Content-Security-Policy header to add; empty for none.
  std::string_view SecurityPolicy() const noexcept { return security_policy_; }

 private:
  const std::shared_ptr<const Filtering> filtering_;
  std::optional<EventLogSink> events_;
  std::optional<ResponseFilter> filter_;
  Way way_ = Way::UNTOUCHED;
  bool is_pinned_ = false;
  /// In the event log; empty where there is none.
  std::string id_;
  std::string_view security_policy_;
};

/// Whether a response that could not be judged goes on.
inline bool MayPass(const Filtering &filtering) noexcept {
  return filtering.policy.responses.stream.limits.beyond == BeyondLimit::PASS_UNFILTERED;
}

}  // namespace velmora::host
