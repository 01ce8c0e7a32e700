#include "host/policy/filtering.h"

#include <stdexcept>
#include <system_error>
#include <utility>

namespace velmora::host {
namespace {

Policy ReadPolicyOf(const FilterFiles &files) {
  Policy policy;
  if (files.policy.empty()) {
    policy.everywhere.block = CategorySet::Default();
  } else {
    policy = ReadPolicy(files.policy);
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

std::shared_ptr<const Filtering> StartFiltering(const FilterFiles &files) {
  Policy policy = ReadPolicyOf(files);
  std::shared_ptr<EventLog> events = OpenLog(policy);
  auto plugin = std::make_shared<const Plugin>(files.plugin, policy.ads);
  return std::make_shared<const Filtering>(
      Filtering{std::move(policy), std::move(plugin), std::move(events)});
}

std::shared_ptr<const Filtering> RenewFiltering(const Filtering &before, const FilterFiles &files) {
  Policy policy = ReadPolicyOf(files);
  if (!IsLibraryKept(before.policy.ads, policy.ads)) {
    throw std::runtime_error(files.policy.string() +
                             ": another [ads] \"enabled\" or \"library\" takes a new start");
  }
  const bool is_log_kept = policy.event_log == before.policy.event_log;
  std::shared_ptr<EventLog> events = is_log_kept ? before.events : OpenLog(policy);
  if (!is_log_kept && events && events->Trouble()) {
    throw std::system_error(events->Trouble(), "event log " + policy.event_log->file.string());
  }
  auto after = std::make_shared<const Filtering>(
      Filtering{std::move(policy), before.plugin, std::move(events)});
  // From here on there is something to see, so nothing else may fail.
  before.plugin->UseAdLists(after->policy.ads.lists);
  if (is_log_kept && after->events) after->events->Reopen();
  return after;
}

}  // namespace velmora::host
