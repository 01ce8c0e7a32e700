#include "host/requests/request_judge.h"

#include <string>
#include <vexlar/requests.h>

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
  const std::string site =
      kind.use == AnswerUse::TUNNEL ? SiteBehind(request.url) : std::string(request.url);
  const std::string_view page =
      kind.use == AnswerUse::TUNNEL || kind.page.empty() ? site : kind.page;
  return policy.For(page, request.client).JudgesRequests() &&
         !policy.AllowsRequestsOf(site, request.client);
}

}  // namespace

std::optional<BlockedAnswer> JudgeRequest(const Filtering &filtering, const RequestHead &request) {
  if (!filtering.plugin->CanJudge()) return std::nullopt;
  const RequestKind kind = KindOf(request);
  if (!IsWanted(filtering.policy, request, kind)) return std::nullopt;
  const AdVerdict verdict = AskLists(*filtering.plugin, request, kind);
  if (verdict.kind != AdVerdict::Kind::BLOCKED) return std::nullopt;
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
  return AnswerTo(request, kind, {.id = id, .rule = verdict.rule, .list = verdict.list});
}

}  // namespace velmora::host
