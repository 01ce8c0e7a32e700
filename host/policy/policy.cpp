#include "host/policy/policy.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "host/loading/installation.h"

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

bool IsInOneOf(const std::vector<std::shared_ptr<const ClientGroup>> &groups, const Asked &asked) {
  return std::ranges::any_of(groups, [&](const auto &group) { return group->Has(asked); });
}

/// Is the client in the group of this name, if there is one to be in? In none that is gone.
bool IsInGroup(const std::vector<std::shared_ptr<const ClientGroup>> &groups,
               const std::string &name, const Asked &asked) {
  return name.empty() || std::ranges::any_of(groups, [&](const auto &group) {
           return group->name == name && group->Has(asked);
         });
}

/// Those of the categories that have one of the names.
SiteCategorySet Named(const std::vector<std::shared_ptr<const SiteCategory>> &categories,
                      const std::vector<std::string> &names) {
  SiteCategorySet named;
  if (names.empty()) return named;
  for (std::size_t i = 0; i < categories.size(); ++i) {
    named[i] = std::ranges::find(names, categories[i]->name) != names.end();
  }
  return named;
}

void Apply(const PolicyChange &change, PolicyAnswer &answer) {
  answer.categories =
      change.only.value_or(answer.categories).With(change.block).Without(change.allow);
  for (const auto &[name, value] : change.settings) answer.settings[name] = value;
  if (change.option_block) answer.option_block = *change.option_block;
  answer.safe_search = change.safe_search.value_or(answer.safe_search);
  if (change.lists && change.lists->opened) {
    if (!change.lists->options.lists.empty()) answer.lists = {.own = {}, .has_general = false};
    answer.lists.own.push_back(change.lists->opened);
  }
  if (change.only) answer.blocked_sites = change.only_sites;
  answer.blocked_sites = (answer.blocked_sites | change.block_sites) & ~change.allow_sites;
  answer.allows_self = change.allows_self.value_or(answer.allows_self);
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

bool PolicyRule::IsFor(const Asked &asked) const {
  if (!clients && !groups) return true;
  return (clients && HasClient(*clients, asked.Client())) || (groups && IsInOneOf(*groups, asked));
}

bool PolicyRule::AppliesTo(const Asked &asked, const LocalClock &clock) const {
  return (when == nullptr || when->Contains(asked.Minute(clock))) && IsFor(asked) &&
         (!sites || sites->Contains(asked.Site()));
}

bool Policy::Allows(const Asked &asked) const {
  return (!allowed_sites.IsEmpty() && allowed_sites.Contains(asked.Site())) ||
         (!allowed_clients.empty() && HasClient(allowed_clients, asked.Client())) ||
         IsInOneOf(allowed_groups, asked);
}

const SiteCategory *Policy::BlockedSite(const PolicyAnswer &answer, const Asked &asked) const {
  if (answer.is_allowed || answer.blocked_sites.none()) return nullptr;
  for (std::size_t i = 0; i < site_categories.size(); ++i) {
    if (answer.blocked_sites[i] && site_categories[i]->sites.Contains(asked.Site())) {
      return site_categories[i].get();
    }
  }
  return nullptr;
}

ChosenCategories Policy::Excepted(const Asked &asked) const {
  ChosenCategories excepted;
  const auto now = std::chrono::system_clock::now();
  for (const Exception &exception : exceptions) {
    if (!exception.AppliesTo(asked.Site(), asked.Client(), now) ||
        !IsInGroup(groups, exception.group, asked)) {
      continue;
    }
    excepted.Add({exception.categories, Named(site_categories, exception.site_categories)});
  }
  return excepted;
}

bool Policy::AllowsRequestsOf(const Asked &asked) const {
  return Allows(asked) ||
         (!exceptions.empty() && Excepted(asked).filter.Contains(CATEGORY_REQUESTS));
}

std::vector<const PolicyRule *> Policy::RulesFor(const Asked &asked) const {
  std::vector<const PolicyRule *> applied;
  for (const PolicyRule &rule : rules) {
    if (rule.AppliesTo(asked, *clock)) applied.push_back(&rule);
  }
  return applied;
}

PolicyAnswer Policy::For(const Asked &asked) const {
  PolicyAnswer answer;
  answer.is_allowed = Allows(asked);
  if (answer.is_allowed) return answer;
  Apply(everywhere, answer);
  for (const PolicyRule &rule : rules) {
    if (rule.AppliesTo(asked, *clock)) Apply(rule.change, answer);
  }
  if (exceptions.empty()) return answer;
  const ChosenCategories excepted = Excepted(asked);
  answer.is_allowed = excepted.filter == CategorySet::All();
  answer.categories = answer.categories.Without(excepted.filter);
  answer.blocked_sites &= ~excepted.sites;
  return answer;
}

std::string_view Policy::SecurityPolicyFor(const PolicyAnswer &answer) const noexcept {
  const bool blocks_scripts = !answer.is_allowed && answer.categories.Contains(CATEGORY_SCRIPTS);
  if (!responses.adds_security_policy || !blocks_scripts) return "";
  const bool blocks_objects =
      HasAll(answer.categories, {CATEGORY_APPLETS, CATEGORY_ACTIVEX, CATEGORY_FLASH});
  return blocks_objects ? "script-src 'none'; object-src 'none'" : "script-src 'none'";
}

void OpenRuleLists(const Policy &policy, const Plugin &plugin) {
  for (const PolicyRule &rule : policy.rules) {
    if (const auto &lists = rule.change.lists) lists->opened = plugin.OpenRules(lists->options);
  }
}

std::filesystem::path DefaultPolicy() {
  return SettingsFolder() / "velmora.toml";
}

}  // namespace velmora::host
