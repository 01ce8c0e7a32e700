// EventTotals: the events of a log, added up.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/events/event.h"

namespace velmora::command {

class EventTotals {
 public:
  using Time = std::chrono::system_clock::time_point;
  /// A name and how many items it has.
  using Count = std::pair<std::string, std::uint64_t>;

  static constexpr std::size_t MOST_LATEST = 100;

  void Add(const host::Event &event);
  /// A line that is no event.
  void AddUnreadable() noexcept { ++unreadable_; }

  std::uint64_t Blocked() const noexcept { return blocked_; }
  /// Of the blocked ones, requests.
  std::uint64_t NotMade() const noexcept { return not_made_; }
  /// By how much filtered bodies got shorter.
  std::int64_t BytesSaved() const noexcept { return bytes_saved_; }
  /// Pages that got a script against pop-ups, or against script errors.
  std::uint64_t Guarded() const noexcept { return guarded_; }
  std::uint64_t Stopped() const noexcept { return stopped_; }
  std::uint64_t Errors() const noexcept { return errors_; }
  std::uint64_t Dropped() const noexcept { return dropped_; }
  std::uint64_t Unreadable() const noexcept { return unreadable_; }
  /// The time of the first and of the last event.
  std::optional<std::pair<Time, Time>> Period() const noexcept { return period_; }

  /// The most frequent first, those that are equal by name.
  std::vector<Count> ByCategory() const;
  std::vector<Count> BySite() const { return Sorted(sites_); }
  std::vector<Count> ByClient() const { return Sorted(clients_); }
  /// Blocked items, stops and errors, the newest last.
  const std::deque<host::Event> &Latest() const noexcept { return latest_; }
  /// Blocked items a second in the whole seconds before `now`, 59 of them at most.
  double Rate(Time now, std::size_t seconds) const;

 private:
  using Counts = std::unordered_map<std::string, std::uint64_t>;
  struct Second {
    std::int64_t time = 0;
    std::uint64_t items = 0;
  };

  static std::vector<Count> Sorted(const Counts &counts);

  std::uint64_t blocked_ = 0;
  std::uint64_t not_made_ = 0;
  std::int64_t bytes_saved_ = 0;
  std::uint64_t guarded_ = 0;
  std::uint64_t stopped_ = 0;
  std::uint64_t errors_ = 0;
  std::uint64_t dropped_ = 0;
  std::uint64_t unreadable_ = 0;
  std::optional<std::pair<Time, Time>> period_;
  std::map<std::int32_t, std::uint64_t> categories_;
  Counts sites_;
  Counts clients_;
  std::deque<host::Event> latest_;
  /// Each second's place is its number's remainder.
  std::array<Second, 60> seconds_{};
};

}  // namespace velmora::command
