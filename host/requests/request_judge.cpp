#include "host/requests/request_judge.h"

#include <string>
#include <utility>
#include <vexlar/requests.h>

#include "host/bodies/worker_counters.h"
#include "host/requests/buttons.h"
#include "host/requests/trust_check.h"

namespace velmora::host {
namespace {

/// "host:port" as the address of the site behind it.
std::string SiteBehind(std::string_view authority) {
  const bool is_usual = authority.ends_with(":443");
  if (is_usual) authority.remove_suffix(4);
  return std::string("https://").append(authority).append("/");
}

/// Rules know websockets by a scheme of their own.
std::string SocketAddress(std::string_view url) {
  return std::string("ws").append(url.substr(url.starts_with("http") ? 4 : 0));
}

AdVerdict JudgeTunnel(const Plugin &plugin, AdRequest question, const AdListChain &lists) {
  AdVerdict verdict;
  for (std::uint32_t type = VEXLAR_TYPE_SCRIPT; type <= VEXLAR_TYPE_OTHER; type <<= 1) {
    // A page is asked for by a person, whom rules for other requests do not concern.
    if (type == VEXLAR_TYPE_POPUP || type == VEXLAR_TYPE_DOCUMENT) continue;
    question.types = type;
    verdict = plugin.Judge(question, lists);
    if (verdict.kind != AdVerdict::Kind::BLOCKED) break;
  }
  return verdict;
}

AdVerdict AskLists(const Plugin &plugin, const RequestHead &request, const RequestKind &kind,
                   const AdListChain &lists) {
  AdRequest question{
      .url = request.url, .page = kind.page, .method = request.method, .types = kind.types};
  if (kind.use == AnswerUse::TUNNEL) {
    const std::string site = SiteBehind(request.url);
    question.url = question.page = site;
    question.method = "GET";
    return JudgeTunnel(plugin, question, lists);
  }
  if (kind.types != VEXLAR_TYPE_WEBSOCKET) return plugin.Judge(question, lists);
  const std::string socket = SocketAddress(request.url);
  question.url = socket;
  return plugin.Judge(question, lists);
}

bool IsTunnel(const RequestKind &kind) noexcept {
  return kind.use == AnswerUse::TUNNEL;
}

/// What the policy says of the site itself; none where it says nothing.
std::optional<RequestVerdict> BySite(const Policy &policy, const PolicyAnswer &answer,
                                     const Asked &site) {
  const SiteCategory *const category = policy.BlockedSite(answer, site);
  if (category == nullptr) return std::nullopt;
  return RequestVerdict{.is_blocked = true,
                        .category = category,
                        .rule = std::string(site.Site().Text()),
                        .list = category->name,
                        .line = category->line};
}

/// What the lists say, where the policy of the page wants to know.
RequestVerdict ByLists(const Plugin &plugin, const RequestHead &request, const RequestKind &kind,
                       const AdListChain &lists) {
  AdVerdict verdict = AskLists(plugin, request, kind, lists);
  if (verdict.kind != AdVerdict::Kind::BLOCKED) return {};
  return {.is_blocked = true,
          .rule = std::move(verdict.rule),
          .list = std::move(verdict.list),
          .line = verdict.line};
}

void Log(EventLog &events, const RequestHead &request, const RequestKind &kind,
         const RequestVerdict &verdict, std::string_view id) {
  const std::string type = NamesOfTypes(kind.types);
  events.AddNotMade({.id = id,
                     .client = request.who.client,
                     .url = request.url,
                     .page = kind.page == request.url ? std::string_view() : kind.page,
                     .method = request.method,
                     .type = type,
                     .rule = verdict.rule,
                     .list = verdict.list,
                     .line = verdict.line,
                     .is_by_site = verdict.category != nullptr});
}

}  // namespace

RequestVerdict VerdictOn(const Policy &policy, const Plugin &plugin, const RequestHead &request,
                         const RequestKind &kind) {
  const std::string behind = IsTunnel(kind) ? SiteBehind(request.url) : std::string();
  const Asked site(IsTunnel(kind) ? behind : request.url, request.who);
  const bool is_own_page = IsTunnel(kind) || kind.page.empty() || kind.page == request.url;
  std::optional<PolicyAnswer> own;
  std::optional<RequestChange> change;
  if (policy.decides_by_site) {
    own.emplace(policy.For(site));
    if (auto verdict = BySite(policy, *own, site)) return *std::move(verdict);
    if (!own->is_allowed) change = SafeSearchFor(own->safe_search, request.method, request.url);
  }
  RequestVerdict verdict;
  if (plugin.CanJudge()) {
    const PolicyAnswer answer =
        is_own_page && own ? *std::move(own)
                           : policy.For(is_own_page ? site : Asked(kind.page, request.who));
    if (answer.JudgesRequests() && !policy.AllowsRequestsOf(site)) {
      verdict = ByLists(plugin, request, kind, answer.lists);
    }
  }
  if (!verdict.is_blocked) verdict.change = std::move(change);
  return verdict;
}

RequestDecision JudgeRequest(const Filtering &filtering, const RequestHead &request) {
  if (auto answer = AnswerToButton(filtering, request)) return {.answer = std::move(answer)};
  if (auto answer = AnswerToTrustCheck(request)) return {.answer = std::move(answer)};
  Count(&WorkerCounters::requests);
  const RequestKind kind = KindOf(request);
  RequestVerdict verdict = VerdictOn(filtering.policy, *filtering.plugin, request, kind);
  if (!verdict.is_blocked || IsOpened(filtering, request, kind)) {
    return {.change = std::move(verdict.change)};
  }
  CountBlocked(CATEGORY_REQUESTS);
  const std::string id = MakeBlockId();
  if (filtering.events) Log(*filtering.events, request, kind, verdict, id);
  const bool is_by_site = verdict.category != nullptr;
  return {.answer = AnswerTo(
              request, kind,
              {.id = id, .rule = verdict.rule, .list = verdict.list, .is_by_site = is_by_site},
              WaysOnFrom(filtering, request, kind, is_by_site))};
}

}  // namespace velmora::host
