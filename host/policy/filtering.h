// Filtering: what the transactions of a proxy share, and how it is renewed while they run.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "host/events/event_log.h"
#include "host/loading/plugin.h"
#include "host/policy/permits.h"
#include "host/policy/policy.h"

namespace velmora::host {

struct FilterFiles {
  /// Those of the installation that this code is a part of.
  static FilterFiles OfInstallation();
  /// One word of a proxy's configuration, "policy", "plugin" or "event-log", and what it says.
  /// Throws `std::invalid_argument`.
  void Set(std::string_view key, std::string_view value);

  std::filesystem::path plugin;
  /// Empty: what is blocked by default, and nothing else is decided.
  std::filesystem::path policy;
  /// Stands in for the one that the policy names.
  std::optional<std::filesystem::path> event_log{};
};

/// Never changed once it is made: a transaction takes the one in force when it begins, and keeps it
/// to its end.
struct Filtering {
  Policy policy;
  std::shared_ptr<const Plugin> plugin;
  /// Null: the policy asks for none.
  std::shared_ptr<EventLog> events;
  /// Of all that came by since the start.
  std::shared_ptr<PinnedScripts> pinned = std::make_shared<PinnedScripts>();
  /// Of the policy's state folder.
  std::shared_ptr<Permits> permits;
};

/// What keeps the plug-in from making temporary files, in words; empty when nothing does. Long
/// scripts then stay in memory.
std::string TemporaryFilesProblem();

/// Reads the policy, opens its event log, and loads the plug-in with the policy's ad-blocking
/// library. Throws what they throw; trouble with the event log's file is the log's to tell, and
/// stops nothing.
std::shared_ptr<const Filtering> StartFiltering(const FilterFiles &files);

/// The same, with the exceptions as their file says now. Throws what `ReadExceptions` throws.
std::shared_ptr<const Filtering> WithExceptions(const std::shared_ptr<const Filtering> &filtering);

/// The same anew, beside what is in force: policy and lists are read again, the log is opened again
/// under its name, the plug-in and the ad-blocking library stay loaded as they are. When something
/// is wrong with the policy or the lists, what was in force stays in force.
class Renewal {
 public:
  /// The quick half: the policy, and the log, which has to be opened by the caller's user. Throws.
  Renewal(std::shared_ptr<const Filtering> before, const FilterFiles &files);
  /// The slow half: the lists. May run on another thread while the old lists answer. Throws.
  std::shared_ptr<const Filtering> Finish() const;

  const Filtering &Before() const noexcept { return *before_; }

 private:
  std::shared_ptr<const Filtering> before_;
  std::shared_ptr<const Filtering> after_;
};

}  // namespace velmora::host
