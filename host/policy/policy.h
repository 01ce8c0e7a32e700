// Policy: what is blocked where and for whom, and all else that the user decides about filtering.
//
//   [filter]                  applies everywhere
//   block = ["ads", "popups"]
//
//   [[rule]]                  applies to some sites, some clients, or both together
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
#include "host/policy/exceptions.h"
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

/// Who asks for what. Both are read when they matter, and once however many questions there are.
/// The texts outlive it; one thread's.
class Asked {
 public:
  /// An empty or unreadable address is a client that is not known.
  Asked(std::string_view url, std::string_view client) noexcept : url_(url), client_text_(client) {}

  const HostName &Site() const;
  const std::optional<ClientAddress> &Client() const;

 private:
  std::string_view url_;
  std::string_view client_text_;
  mutable std::optional<HostName> site_;
  mutable std::optional<std::optional<ClientAddress>> client_;
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
};

struct PolicyRule {
  /// As the file names it, else "rule" and its number.
  std::string name{};
  std::uint32_t line = 0;
  /// None: any site, any client. Rules for clients do not apply to a client that is not known.
  std::optional<HostSet> sites{};
  std::optional<std::vector<ClientNetwork>> clients{};
  PolicyChange change{};

  bool AppliesTo(const Asked &asked) const;
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

/// One state of the file, never changed once it is read: any number of threads ask at once.
struct Policy {
  PolicyChange everywhere{};
  std::vector<PolicyRule> rules{};
  HostSet allowed_sites{};
  std::vector<ClientNetwork> allowed_clients{};
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

  /// What applies to a URL asked for by a client.
  PolicyAnswer For(const Asked &asked) const;
  PolicyAnswer For(std::string_view url, std::string_view client) const {
    return For(Asked(url, client));
  }
  /// The value of a Content-Security-Policy header that a response goes out with, filtered or not,
  /// beside those that it has; empty for none. Where scripts are blocked, the browser is to refuse
  /// those too that the filter does not see. A literal, which ends in a NUL.
  std::string_view SecurityPolicyFor(const PolicyAnswer &answer) const noexcept;
  /// The rules that `For` applies, in order.
  std::vector<const PolicyRule *> RulesFor(const Asked &asked) const;
  bool Allows(const Asked &asked) const;
  /// The categories that exceptions take off.
  CategorySet Excepted(const Asked &asked) const;
  /// May pages of any site request this, whatever applies to them?
  bool AllowsRequestsOf(const Asked &asked) const;
};

/// Reads a policy file. Paths in it are relative to its folder. Throws `PolicyError`.
Policy ReadPolicy(const std::filesystem::path &file);

/// The policy of the proxy, where the installation that this code is a part of laid it down.
std::filesystem::path DefaultPolicy();

}  // namespace velmora::host
