// Filtering: what the transactions of a proxy share, and how it is renewed while they run.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "host/events/event_log.h"
#include "host/loading/plugin.h"
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
};

/// Reads the policy, opens its event log, and loads the plug-in with the policy's ad-blocking
/// library. Throws what they throw; trouble with the event log's file is the log's to tell, and
/// stops nothing.
std::shared_ptr<const Filtering> StartFiltering(const FilterFiles &files);

/// Looks from time to time whether somebody has allowed something or taken it back. One thread's.
class ExceptionsWatch {
 public:
  static constexpr std::chrono::milliseconds INTERVAL{500};

  ExceptionsWatch() = default;
  /// Of a policy's file; an empty path has none.
  explicit ExceptionsWatch(const std::filesystem::path &policy)
      : file_(policy.empty() ? policy : ExceptionsFile(policy)) {}

  /// The same, or one with the exceptions as they are now. Throws what `ReadExceptions` throws,
  /// once for each state of the file.
  std::shared_ptr<const Filtering> Renewed(const std::shared_ptr<const Filtering> &filtering);
  /// Reads them at the next question, whether the file has changed or not.
  void Forget() noexcept {
    known_ = UNKNOWN;
    next_look_ = {};
  }

 private:
  using State = std::array<std::int64_t, 4>;
  /// No file has it.
  static constexpr State UNKNOWN = {-1};

  State Look() const noexcept;

  std::filesystem::path file_;
  State known_ = UNKNOWN;
  std::chrono::steady_clock::time_point next_look_{};
};

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
