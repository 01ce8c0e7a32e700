// Schedule: when in the week something holds, as a clock on the wall of a time zone shows it.
//
//   "Mon-Fri 08:00-12:00 13:00-16:00"   "Sat,Sun"   "22:00-06:00"
//
// Days first, then spans; without days it is every day, without spans the whole day. A span that
// ends before it begins goes on into the next day. Days run over Sunday as well ("Fri-Mon").
//
// A clock that is put forward skips what it skips; one that is put back shows an hour twice, and
// what holds in that hour holds twice as long.
#pragma once

#include <atomic>
#include <bitset>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace velmora::host {

/// Minutes since Monday, 00:00.
using MinuteOfWeek = unsigned;
inline constexpr MinuteOfWeek MINUTES_OF_DAY = 24 * 60;
inline constexpr MinuteOfWeek MINUTES_OF_WEEK = 7 * MINUTES_OF_DAY;

class Schedule {
 public:
  /// Adds what such a text says. Throws `std::invalid_argument` that says what is wrong with it.
  void Add(std::string_view text);
  bool Contains(MinuteOfWeek minute) const noexcept { return minutes_[minute]; }

 private:
  std::bitset<MINUTES_OF_WEEK> minutes_;
};

/// The clock on the wall of a time zone. Any number of threads look at it at once: the zone is
/// asked once a minute, since all zones of today differ by whole minutes.
class LocalClock {
 public:
  using Time = std::chrono::system_clock::time_point;

  /// A name such as "Europe/Vienna"; empty: the machine's zone. Throws `std::invalid_argument` for
  /// a name that the system does not know.
  explicit LocalClock(std::string zone = {});

  MinuteOfWeek Read(Time time) const;
  /// What the clock shows at "2026-03-02 08:00" or "Mon 08:00"; throws `std::invalid_argument`.
  static MinuteOfWeek Parse(std::string_view text);

 private:
  MinuteOfWeek Ask(Time time) const;

  const std::string zone_;
  /// Minutes since 1970, and behind them what the clock showed then, in 16 bits.
  mutable std::atomic<std::uint64_t> last_{~std::uint64_t{0}};
};

}  // namespace velmora::host
