#include "host/requests/expectations.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>
#include <vexlar/requests.h>

#include "host/requests/request_head.h"
#include "host/requests/request_judge.h"
#include "host/web/url.h"

namespace velmora::host {
namespace {

using Answer = Expectation::Answer;

constexpr std::pair<Answer, std::string_view> ANSWERS[] = {{Answer::BLOCKED, "blocked"},
                                                           {Answer::PASSED, "passed"},
                                                           {Answer::FILTERED, "filtered"},
                                                           {Answer::UNTOUCHED, "untouched"}};

std::string_view Name(Answer answer) noexcept {
  return std::ranges::find(ANSWERS, answer, &std::pair<Answer, std::string_view>::first)->second;
}

/// "host:port" of what a tunnel leads to.
std::string Authority(std::string_view url) {
  const std::string host = HostOfUrl(url);
  std::string_view rest = url.substr(std::min(url.find("://") + 3, url.size()));
  rest = rest.substr(0, rest.find_first_of("/?#"));
  const std::size_t colon = rest.rfind(':');
  const bool has_port = colon != rest.npos && rest.find(']', colon) == rest.npos;
  return host + (has_port ? std::string(rest.substr(colon)) : ":443");
}

std::uint32_t TypeNamed(std::string_view name) noexcept {
  const auto found = std::ranges::find_if(
      VEXLAR_TYPE_NAMES, [&](const VexlarTypeName &entry) { return entry.name == name; });
  return found == std::end(VEXLAR_TYPE_NAMES) ? std::uint32_t{VEXLAR_TYPE_OTHER} : found->type;
}

Asker WhoAsks(const Expectation &expectation) noexcept {
  return {.client = expectation.client,
          .user = expectation.user,
          .groups = expectation.groups,
          .minute = expectation.minute};
}

class NoHeaders final : public RequestHeaders {
 public:
  std::string_view Value(RequestHeader) const override { return {}; }
};

/// What becomes of it in fact.
struct Outcome {
  Answer answer;
  std::string by;
  std::string becomes;
  std::vector<std::string> rules;
};

Outcome OutcomeOf(const Policy &policy, const Plugin &plugin, const Expectation &expectation) {
  const bool is_tunnel = expectation.type == TUNNEL_TYPE;
  const std::string authority = is_tunnel ? Authority(expectation.url) : std::string();
  const NoHeaders none;
  const RequestHead request{.method = is_tunnel ? "CONNECT" : std::string_view(expectation.method),
                            .url = is_tunnel ? authority : expectation.url,
                            .who = WhoAsks(expectation),
                            .headers = none};
  const RequestKind kind{
      .types = TypeNamed(expectation.type),
      .use = is_tunnel ? AnswerUse::TUNNEL : AnswerUse::RESOURCE,
      .page = expectation.page.empty() || is_tunnel ? request.url : expectation.page};
  RequestVerdict verdict = VerdictOn(policy, plugin, request, kind);
  const Asked asked(expectation.url, request.who);
  Outcome outcome{.answer = verdict.is_blocked               ? Answer::BLOCKED
                            : policy.For(asked).IsFiltered() ? Answer::FILTERED
                                                             : Answer::UNTOUCHED,
                  .by = verdict.category != nullptr ? verdict.list : std::move(verdict.rule),
                  .becomes = {},
                  .rules = {}};
  if (verdict.change) outcome.becomes = std::move(verdict.change->url);
  for (const PolicyRule *const rule : policy.RulesFor(asked)) outcome.rules.push_back(rule->name);
  return outcome;
}

bool IsAsExpected(Answer expected, Answer found) noexcept {
  return expected == found || (expected == Answer::PASSED && found != Answer::BLOCKED);
}

std::string List(const std::vector<std::string> &names) {
  std::string list;
  for (const std::string &name : names) list.append(list.empty() ? "" : ", ").append(name);
  return list.empty() ? "none" : list;
}

std::string DifferenceOf(const Expectation &expectation, const Outcome &outcome) {
  std::string text;
  const auto differ = [&](std::string_view what, std::string_view expected,
                          std::string_view found) {
    text.append(text.empty() ? "expected " : "; expected ").append(what).append(expected);
    text.append(", is ").append(found.empty() ? "none" : found);
  };
  if (expectation.answer && !IsAsExpected(*expectation.answer, outcome.answer)) {
    std::string found(Name(outcome.answer));
    if (!outcome.by.empty()) found.append(" by ").append(outcome.by);
    differ("", Name(*expectation.answer), found);
  }
  if (!expectation.by.empty() && expectation.by != outcome.by) {
    differ("to be blocked by ", expectation.by, outcome.by);
  }
  if (expectation.becomes && *expectation.becomes != outcome.becomes) {
    differ("to become ", expectation.becomes->empty() ? "none" : *expectation.becomes,
           outcome.becomes);
  }
  if (expectation.rules && *expectation.rules != outcome.rules) {
    differ("the rules ", List(*expectation.rules), List(outcome.rules));
  }
  return text;
}

}  // namespace

std::vector<Difference> Differences(const Policy &policy, const Plugin &plugin) {
  std::vector<Difference> differences;
  for (const Expectation &expectation : policy.expectations) {
    std::string message = DifferenceOf(expectation, OutcomeOf(policy, plugin, expectation));
    if (!message.empty()) differences.push_back({&expectation, std::move(message)});
  }
  return differences;
}

std::string Describe(const Expectation &expectation) {
  std::string text = expectation.url;
  for (const auto &[word, value] :
       {std::pair<std::string_view, const std::string &>{" for ", expectation.client},
        {" as ", expectation.user},
        {" at ", expectation.at}}) {
    if (!value.empty()) text.append(word).append(value);
  }
  return text;
}

}  // namespace velmora::host
