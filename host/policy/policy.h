// Policy: what is blocked where and for whom, and all else that the user decides about filtering.
//
//   [filter]                  applies everywhere
//   block = ["ads", "popups"]
//
//   [[rule]]                  applies to some sites, some clients, at some times, or all together
//   clients = ["10.1.0.0/16"]
//   block = "all"
//
// Rules are applied in the order of the file, each on top of what those before it said. What the
// file can say is described in docs/policy.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/bodies/categories.h"
#include "host/bodies/response_filter.h"
#include "host/bodies/transaction.h"
#include "host/events/event_log.h"
#include "host/loading/plugin.h"
#include "host/policy/asked.h"
#include "host/policy/chosen_categories.h"
#include "host/policy/exceptions.h"
#include "host/policy/groups.h"
#include "host/policy/schedule.h"
#include "host/web/client_network.h"
#include "host/web/host_set.h"

namespace velmora::host {

/// Something that is wrong in a policy file.
struct PolicyProblem {
  /// From 1 on; 0 for what concerns the whole file.
  std::uint32_t line = 0;
  std::uint32_t column = 0;
  std::string message;
};

/// A file that cannot be used. The text has a line "FILE:LINE:COLUMN: MESSAGE" for each problem.
class PolicyError : public std::runtime_error {
 public:
  PolicyError(const std::filesystem::path &file, std::vector<PolicyProblem> problems);

  const std::vector<PolicyProblem> &Problems() const noexcept { return problems_; }

 private:
  std::vector<PolicyProblem> problems_;
};

using PluginSettings = std::map<std::string, std::string, std::less<>>;

/// How much search engines are to leave out of what they find.
enum class SafeSearch { OFF, MODERATE, FULL };

/// Lists that a rule has of its own.
struct RuleLists {
  /// Lists, extra lists and rules. Where there are `lists`, they stand in the place of all others,
  /// else above them.
  AdLibraryOptions options{};
  /// Null before `OpenRuleLists`.
  AdRules opened{};
};

/// What a rule does with what the rules before it said.
struct PolicyChange {
  /// Exactly these categories, whatever was said before.
  std::optional<CategorySet> only{};
  /// These categories too.
  CategorySet block{};
  /// Not these. Stands above `block`.
  CategorySet allow{};
  PluginSettings settings{};
  std::optional<std::vector<std::uint8_t>> option_block{};
  std::optional<bool> allows_self{};
  std::optional<SafeSearch> safe_search{};
  std::shared_ptr<RuleLists> lists{};
  /// The same three of the policy's own categories of sites; `only` says whether there are such.
  SiteCategorySet only_sites{};
  SiteCategorySet block_sites{};
  SiteCategorySet allow_sites{};
};

struct PolicyRule {
  /// As the file names it, else "rule" and its number.
  std::string name{};
  std::uint32_t line = 0;
  /// None: any site, any client. Rules for clients do not apply to a client that is not known.
  std::optional<HostSet> sites{};
  std::optional<std::vector<ClientNetwork>> clients{};
  /// With `clients`, it applies to those of either.
  std::optional<std::vector<std::shared_ptr<const ClientGroup>>> groups{};
  /// None: at any time.
  std::shared_ptr<const Schedule> when{};
  PolicyChange change{};

  /// `clock` shows the time of the policy.
  bool AppliesTo(const Asked &asked, const LocalClock &clock) const;

 private:
  bool IsFor(const Asked &asked) const;
};

/// What applies to one response.
struct PolicyAnswer {
  /// The site or the client stands on an allow list: nothing is touched.
  bool is_allowed = false;
  CategorySet categories{};
  PluginSettings settings{};
  std::vector<std::uint8_t> option_block{};
  /// The client may let the site through for itself.
  bool allows_self = false;
  SafeSearch safe_search = SafeSearch::OFF;
  /// By which requests are judged.
  AdListChain lists{};
  /// Categories of sites that are not to be asked for anything.
  SiteCategorySet blocked_sites{};

  /// When false, the response goes by untouched. Where nothing is to be blocked, a setting may
  /// still ask for the plug-in: for a record of what passes.
  bool IsFiltered() const noexcept {
    return !is_allowed && (BlocksInBodies() || !settings.empty());
  }
  bool JudgesRequests() const noexcept {
    return !is_allowed && categories.Contains(CATEGORY_REQUESTS);
  }

 private:
  bool BlocksInBodies() const noexcept;
};

/// An example of what the policy is to come to: `velmora test-policy` says where it does not.
struct Expectation {
  /// What becomes of a request, and of the response to it.
  enum class Answer {
    BLOCKED,
    /// It is made, whatever becomes of the response.
    PASSED,
    FILTERED,
    UNTOUCHED,
  };

  std::uint32_t line = 0;
  std::string url{};
  std::string client{};
  std::string user{};
  /// With commas between them.
  std::string groups{};
  /// As the file says it, and as it is meant; none: now.
  std::string at{};
  std::optional<MinuteOfWeek> minute{};
  /// One of the filter syntax, or `TUNNEL_TYPE`.
  std::string type = "document";
  /// Empty: its own.
  std::string page{};
  std::string method = "GET";

  // What is expected; none and empty: anything.
  std::optional<Answer> answer{};
  /// What blocks it: a category of sites or a list's rule.
  std::string by{};
  /// The address that is asked for in its place.
  std::optional<std::string> becomes{};
  /// The names of all the rules that apply.
  std::optional<std::vector<std::string>> rules{};
};

/// A CONNECT.
inline constexpr std::string_view TUNNEL_TYPE = "tunnel";

/// One state of the file, never changed once it is read: any number of threads ask at once.
struct Policy {
  PolicyChange everywhere{};
  std::vector<PolicyRule> rules{};
  HostSet allowed_sites{};
  std::vector<ClientNetwork> allowed_clients{};
  std::vector<std::shared_ptr<const ClientGroup>> allowed_groups{};
  /// What the policy gives names to.
  std::vector<std::shared_ptr<const ClientGroup>> groups{};
  std::vector<std::shared_ptr<const SiteCategory>> site_categories{};
  /// By which rules have their times.
  std::shared_ptr<const LocalClock> clock = std::make_shared<const LocalClock>();
  /// Some rule decides by what is asked for alone, whatever page it is for: by a category of sites,
  /// or because it is a search.
  bool decides_by_site = false;
  /// How bodies are treated, limits included.
  ResponseOptions responses{};
  AdLibraryOptions ads{};
  /// None: no log.
  std::optional<EventLogOptions> event_log{};
  /// Encrypted connections to these are never looked into.
  HostSet spliced_sites{};
  /// What somebody allowed since, above all that the policy says.
  std::vector<Exception> exceptions{};
  /// Where the proxy keeps what it is told while it runs, and the file of exceptions there; empty
  /// where there is no policy file.
  std::filesystem::path state_folder{};
  std::filesystem::path exceptions_file{};
  /// Where lists are fetched from. Those that are there are among the lists of `ads`.
  std::vector<std::string> list_urls{};
  std::vector<Expectation> expectations{};
  /// Lines of lists of sites that say nothing, in words: "games.txt:12: ...". The rest of such a
  /// list holds.
  std::vector<std::string> left_out{};

  /// What applies to a URL asked for by a client.
  PolicyAnswer For(const Asked &asked) const;
  PolicyAnswer For(std::string_view url, std::string_view client) const {
    return For(Asked(url, client));
  }
  /// The first of the categories blocked that the site is in; null when it is in none.
  const SiteCategory *BlockedSite(const PolicyAnswer &answer, const Asked &asked) const;
  /// The value of a Content-Security-Policy header that a response goes out with, filtered or not,
  /// beside those that it has; empty for none. Where scripts are blocked, the browser is to refuse
  /// those too that the filter does not see. A literal, which ends in a NUL.
  std::string_view SecurityPolicyFor(const PolicyAnswer &answer) const noexcept;
  /// The rules that `For` applies, in order.
  std::vector<const PolicyRule *> RulesFor(const Asked &asked) const;
  bool Allows(const Asked &asked) const;
  /// The categories that exceptions take off.
  ChosenCategories Excepted(const Asked &asked) const;
  /// May pages of any site request this, whatever applies to them?
  bool AllowsRequestsOf(const Asked &asked) const;
};

/// Reads a policy file. Paths in it are relative to its folder. Throws `PolicyError`.
Policy ReadPolicy(const std::filesystem::path &file);

/// Reads the lists that rules have of their own, before the policy is asked. Throws `LoadError`.
void OpenRuleLists(const Policy &policy, const Plugin &plugin);

/// The policy of the proxy, where the installation that this code is a part of laid it down.
std::filesystem::path DefaultPolicy();

}  // namespace velmora::host
