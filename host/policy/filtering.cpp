#include "host/policy/filtering.h"

#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "base/temporary_file.h"

namespace velmora::host {
namespace {

Policy ReadPolicyOf(const FilterFiles &files) {
  Policy policy;
  if (files.policy.empty()) {
    policy.everywhere.block = CategorySet::Default();
  } else {
    policy = ReadPolicy(files.policy);
    policy.exceptions = ReadExceptions(policy.exceptions_file);
  }
  if (files.event_log) {
    if (!policy.event_log) policy.event_log.emplace();
    policy.event_log->file = *files.event_log;
  }
  return policy;
}

std::shared_ptr<EventLog> OpenLog(const Policy &policy) {
  return policy.event_log ? std::make_shared<EventLog>(*policy.event_log) : nullptr;
}

bool IsLibraryKept(const AdLibraryOptions &before, const AdLibraryOptions &after) {
  return before.is_used == after.is_used && before.library == after.library;
}

}  // namespace

FilterFiles FilterFiles::OfInstallation() {
  return {.plugin = DefaultPlugin(), .policy = DefaultPolicy()};
}

void FilterFiles::Set(std::string_view key, std::string_view value) {
  if (key == "policy") {
    policy = value;
  } else if (key == "plugin") {
    plugin = value;
  } else if (key == "event-log") {
    event_log = value;
  } else {
    throw std::invalid_argument("unknown key \"" + std::string(key) +
                                "\"; what can stand here: policy, plugin, event-log");
  }
}

std::string TemporaryFilesProblem() {
  const std::error_code trouble = base::TemporaryFilesTrouble();
  if (!trouble) return {};
  return "no temporary file can be made in " + base::TemporaryFolder() + ": " + trouble.message() +
         "; long scripts stay in memory";
}

std::shared_ptr<const Filtering> StartFiltering(const FilterFiles &files) {
  Policy policy = ReadPolicyOf(files);
  std::shared_ptr<EventLog> events = OpenLog(policy);
  auto plugin = std::make_shared<const Plugin>(files.plugin, policy.ads);
  OpenRuleLists(policy, *plugin);
  auto permits = std::make_shared<Permits>(policy.state_folder);
  return std::make_shared<const Filtering>(Filtering{.policy = std::move(policy),
                                                     .plugin = std::move(plugin),
                                                     .events = std::move(events),
                                                     .permits = std::move(permits)});
}

std::shared_ptr<const Filtering> WithExceptions(const std::shared_ptr<const Filtering> &filtering) {
  auto renewed = std::make_shared<Filtering>(*filtering);
  renewed->policy.exceptions = ReadExceptions(renewed->policy.exceptions_file);
  return renewed;
}

Renewal::Renewal(std::shared_ptr<const Filtering> before, const FilterFiles &files)
    : before_(std::move(before)) {
  Policy policy = ReadPolicyOf(files);
  if (!IsLibraryKept(before_->policy.ads, policy.ads)) {
    throw std::runtime_error(files.policy.string() +
                             ": another [ads] \"enabled\" or \"library\" takes a new start");
  }
  const bool is_log_kept = policy.event_log == before_->policy.event_log;
  std::shared_ptr<EventLog> events = is_log_kept ? before_->events : OpenLog(policy);
  if (!is_log_kept && events && events->Trouble()) {
    throw std::system_error(events->Trouble(), "event log " + policy.event_log->file.string());
  }
  const bool is_folder_kept = policy.state_folder == before_->policy.state_folder;
  auto permits = is_folder_kept ? before_->permits : std::make_shared<Permits>(policy.state_folder);
  after_ = std::make_shared<const Filtering>(Filtering{.policy = std::move(policy),
                                                       .plugin = before_->plugin,
                                                       .events = std::move(events),
                                                       .pinned = before_->pinned,
                                                       .permits = std::move(permits)});
  if (is_log_kept && after_->events) after_->events->Reopen();
}

std::shared_ptr<const Filtering> Renewal::Finish() const {
  OpenRuleLists(after_->policy, *before_->plugin);
  before_->plugin->UseAdLists(after_->policy.ads);
  return after_;
}

}  // namespace velmora::host
