#include "host/policy/policy.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "host/loading/installation.h"
#include "host/web/url.h"

namespace velmora::host {
namespace {

std::string Text(const std::filesystem::path &file, const std::vector<PolicyProblem> &problems) {
  std::string text;
  for (const PolicyProblem &problem : problems) {
    if (!text.empty()) text += '\n';
    text += file.string() + ":";
    if (problem.line != 0) {
      text += std::to_string(problem.line) + ":" + std::to_string(problem.column) + ":";
    }
    text += " " + problem.message;
  }
  return text;
}

bool HasClient(const std::vector<ClientNetwork> &networks,
               const std::optional<ClientAddress> &client) {
  return client && std::ranges::any_of(networks, [&](const ClientNetwork &network) {
           return network.Contains(*client);
         });
}

void Apply(const PolicyChange &change, PolicyAnswer &answer) {
  answer.categories =
      change.only.value_or(answer.categories).With(change.block).Without(change.allow);
  for (const auto &[name, value] : change.settings) answer.settings[name] = value;
  if (change.option_block) answer.option_block = *change.option_block;
}

bool HasAll(const CategorySet &categories, std::initializer_list<std::int32_t> codes) noexcept {
  return std::ranges::all_of(codes, [&](std::int32_t code) { return categories.Contains(code); });
}

}  // namespace

PolicyError::PolicyError(const std::filesystem::path &file, std::vector<PolicyProblem> problems)
    : runtime_error(Text(file, problems)), problems_(std::move(problems)) {}

bool PolicyAnswer::BlocksInBodies() const noexcept {
  CategorySet requests;
  requests.Insert(CATEGORY_REQUESTS);
  return !categories.Without(requests).IsEmpty();
}

bool PolicyRule::AppliesTo(const HostName &site, const std::optional<ClientAddress> &client) const {
  return (!clients || HasClient(*clients, client)) && (!sites || sites->Contains(site));
}

bool Policy::Allows(std::string_view url, std::string_view client) const {
  if (allowed_sites.IsEmpty() && allowed_clients.empty()) return false;
  return allowed_sites.Contains(HostName(HostOfUrl(url))) ||
         HasClient(allowed_clients, ClientAddress::Parse(client));
}

CategorySet Policy::Excepted(std::string_view url, std::string_view client) const {
  CategorySet excepted;
  if (exceptions.empty()) return excepted;
  const HostName site(HostOfUrl(url));
  const auto address = ClientAddress::Parse(client);
  const auto now = std::chrono::system_clock::now();
  for (const Exception &exception : exceptions) {
    if (exception.AppliesTo(site, address, now)) excepted = excepted.With(exception.categories);
  }
  return excepted;
}

bool Policy::AllowsRequestsOf(std::string_view url, std::string_view client) const {
  return Allows(url, client) || Excepted(url, client).Contains(CATEGORY_REQUESTS);
}

std::vector<const PolicyRule *> Policy::RulesFor(std::string_view url,
                                                 std::string_view client) const {
  std::vector<const PolicyRule *> applied;
  if (rules.empty()) return applied;
  const HostName site(HostOfUrl(url));
  const auto address = ClientAddress::Parse(client);
  for (const PolicyRule &rule : rules) {
    if (rule.AppliesTo(site, address)) applied.push_back(&rule);
  }
  return applied;
}

PolicyAnswer Policy::For(std::string_view url, std::string_view client) const {
  PolicyAnswer answer;
  answer.is_allowed = Allows(url, client);
  if (answer.is_allowed) return answer;
  Apply(everywhere, answer);
  for (const PolicyRule *const rule : RulesFor(url, client)) Apply(rule->change, answer);
  const CategorySet excepted = Excepted(url, client);
  answer.is_allowed = excepted == CategorySet::All();
  answer.categories = answer.categories.Without(excepted);
  return answer;
}

std::string_view Policy::SecurityPolicyFor(const PolicyAnswer &answer) const noexcept {
  const bool blocks_scripts = !answer.is_allowed && answer.categories.Contains(CATEGORY_SCRIPTS);
  if (!responses.adds_security_policy || !blocks_scripts) return "";
  const bool blocks_objects =
      HasAll(answer.categories, {CATEGORY_APPLETS, CATEGORY_ACTIVEX, CATEGORY_FLASH});
  return blocks_objects ? "script-src 'none'; object-src 'none'" : "script-src 'none'";
}

std::filesystem::path DefaultPolicy() {
  return SettingsFolder() / "velmora.toml";
}

}  // namespace velmora::host
