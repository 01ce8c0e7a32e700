#include "host/requests/request_judge.h"

#include <string>
#include <vexlar/requests.h>

#include "host/requests/buttons.h"

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

AdVerdict JudgeTunnel(const Plugin &plugin, AdRequest question) {
  AdVerdict verdict;
  for (std::uint32_t type = VEXLAR_TYPE_SCRIPT; type <= VEXLAR_TYPE_OTHER; type <<= 1) {
    // A page is asked for by a person, whom rules for other requests do not concern.
    if (type == VEXLAR_TYPE_POPUP || type == VEXLAR_TYPE_DOCUMENT) continue;
    question.types = type;
    verdict = plugin.Judge(question);
    if (verdict.kind != AdVerdict::Kind::BLOCKED) break;
  }
  return verdict;
}

AdVerdict AskLists(const Plugin &plugin, const RequestHead &request, const RequestKind &kind) {
  AdRequest question{
      .url = request.url, .page = kind.page, .method = request.method, .types = kind.types};
  if (kind.use == AnswerUse::TUNNEL) {
    const std::string site = SiteBehind(request.url);
    question.url = question.page = site;
    question.method = "GET";
    return JudgeTunnel(plugin, question);
  }
  if (kind.types != VEXLAR_TYPE_WEBSOCKET) return plugin.Judge(question);
  const std::string socket = SocketAddress(request.url);
  question.url = socket;
  return plugin.Judge(question);
}

bool IsWanted(const Policy &policy, const RequestHead &request, const RequestKind &kind) {
  const bool is_tunnel = kind.use == AnswerUse::TUNNEL;
  const std::string behind = is_tunnel ? SiteBehind(request.url) : std::string();
  const Asked site(is_tunnel ? behind : request.url, request.client);
  const bool is_own_page = is_tunnel || kind.page.empty() || kind.page == request.url;
  return policy.For(is_own_page ? site : Asked(kind.page, request.client)).JudgesRequests() &&
         !policy.AllowsRequestsOf(site);
}

}  // namespace

std::optional<BlockedAnswer> JudgeRequest(const Filtering &filtering, const RequestHead &request) {
  if (!filtering.plugin->CanJudge()) return std::nullopt;
  if (auto answer = AnswerToButton(filtering, request)) return answer;
  const RequestKind kind = KindOf(request);
  if (!IsWanted(filtering.policy, request, kind)) return std::nullopt;
  const AdVerdict verdict = AskLists(*filtering.plugin, request, kind);
  if (verdict.kind != AdVerdict::Kind::BLOCKED || IsOpened(filtering, request, kind)) {
    return std::nullopt;
  }
  const std::string id = MakeBlockId();
  if (filtering.events) {
    const std::string type = NamesOfTypes(kind.types);
    filtering.events->AddNotMade({.id = id,
                                  .client = request.client,
                                  .url = request.url,
                                  .page = kind.page == request.url ? std::string_view() : kind.page,
                                  .method = request.method,
                                  .type = type,
                                  .rule = verdict.rule,
                                  .list = verdict.list,
                                  .line = verdict.line});
  }
  return AnswerTo(request, kind, {.id = id, .rule = verdict.rule, .list = verdict.list},
                  WaysOnFrom(filtering, request, kind));
}

}  // namespace velmora::host
