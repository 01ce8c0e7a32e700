#include "host/policy/schedule.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <date/tz.h>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <utility>

#include "base/ascii.h"

namespace velmora::host {
namespace {

constexpr std::string_view DAYS[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
constexpr unsigned DAY_COUNT = std::size(DAYS);
constexpr std::string_view BLANKS = " \t,";
constexpr unsigned TIME_BITS = 16;

std::invalid_argument Fault(std::string_view text) {
  return std::invalid_argument(
      "\"" + std::string(text) +
      "\" should be days and times as \"Mon-Fri 08:00-16:00\", \"Sat,Sun\" "
      "or \"22:00-06:00\"");
}

std::optional<unsigned> Day(std::string_view text) {
  const auto found = std::ranges::find_if(
      DAYS, [&](std::string_view day) { return base::EqualNoCase(day, text); });
  if (found == std::end(DAYS)) return std::nullopt;
  return static_cast<unsigned>(found - std::begin(DAYS));
}

std::optional<unsigned> Digits(std::string_view text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// "08:00", "24:00".
std::optional<MinuteOfWeek> TimeOfDay(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == text.npos || colon == 0 || text.size() != colon + 3) return std::nullopt;
  const auto hour = Digits(text.substr(0, colon));
  const auto minute = Digits(text.substr(colon + 1));
  if (!hour || !minute || *minute > 59) return std::nullopt;
  const MinuteOfWeek time = *hour * 60 + *minute;
  if (time > MINUTES_OF_DAY) return std::nullopt;
  return time;
}

/// Both halves of "A-B", or A twice.
std::pair<std::string_view, std::string_view> Ends(std::string_view range) {
  const std::size_t dash = range.find('-');
  if (dash == range.npos) return {range, range};
  return {range.substr(0, dash), range.substr(dash + 1)};
}

struct Span {
  MinuteOfWeek begin = 0;
  MinuteOfWeek length = MINUTES_OF_DAY;
};

std::optional<Span> ReadSpan(std::string_view word) {
  const auto [first, last] = Ends(word);
  const auto begin = TimeOfDay(first);
  const auto end = TimeOfDay(last);
  if (!begin || !end || *begin == *end || *begin == MINUTES_OF_DAY) return std::nullopt;
  return Span{*begin, (*end + MINUTES_OF_DAY - *begin - 1) % MINUTES_OF_DAY + 1};
}

/// Adds the days of "Mon" or "Fri-Mon"; false where it is neither.
bool ReadDays(std::string_view word, std::bitset<DAY_COUNT> &days) {
  const auto [first, last] = Ends(word);
  const auto begin = Day(first);
  const auto end = Day(last);
  if (!begin || !end) return false;
  for (unsigned day = *begin;; day = (day + 1) % DAY_COUNT) {
    days.set(day);
    if (day == *end) return true;
  }
}

template <class Function>
void ForEachWord(std::string_view text, Function function) {
  for (;;) {
    text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
    if (text.empty()) return;
    const std::string_view word = text.substr(0, text.find_first_of(BLANKS));
    function(word);
    text.remove_prefix(word.size());
  }
}

MinuteOfWeek MinuteOf(unsigned days_since_monday, unsigned hour, unsigned minute) noexcept {
  return days_since_monday * MINUTES_OF_DAY + hour * 60 + minute;
}

}  // namespace

void Schedule::Add(std::string_view text) {
  std::bitset<DAY_COUNT> days;
  std::bitset<std::size_t{MINUTES_OF_DAY} * 2> minutes;
  ForEachWord(text, [&](std::string_view word) {
    // A day behind a span would look as if the span before it were not its own.
    if (minutes.none() && ReadDays(word, days)) return;
    const auto span = ReadSpan(word);
    if (!span) throw Fault(text);
    for (MinuteOfWeek i = 0; i < span->length; ++i) minutes.set(span->begin + i);
  });
  if (days.none() && minutes.none()) throw Fault(text);
  if (days.none()) days.set();
  if (minutes.none()) {
    for (MinuteOfWeek i = 0; i < MINUTES_OF_DAY; ++i) minutes.set(i);
  }
  for (unsigned day = 0; day < DAY_COUNT; ++day) {
    for (MinuteOfWeek i = 0; days[day] && i < minutes.size(); ++i) {
      if (minutes[i]) minutes_.set((day * MINUTES_OF_DAY + i) % MINUTES_OF_WEEK);
    }
  }
}

LocalClock::LocalClock(std::string zone) : zone_(std::move(zone)) {
  try {
    if (zone_.empty()) {
      tzset();
    } else {
      date::locate_zone(zone_);
    }
  } catch (const std::exception &) {
    throw std::invalid_argument("\"" + zone_ +
                                "\" is no time zone that this system knows (as \"Europe/Vienna\")");
  }
}

MinuteOfWeek LocalClock::Read(Time time) const {
  const auto minute = static_cast<std::uint64_t>(
      std::chrono::floor<std::chrono::minutes>(time.time_since_epoch()).count());
  const std::uint64_t last = last_.load(std::memory_order_relaxed);
  if (last >> TIME_BITS == minute) return static_cast<MinuteOfWeek>(last & 0xFFFF);
  const MinuteOfWeek shown = Ask(time);
  last_.store(minute << TIME_BITS | shown, std::memory_order_relaxed);
  return shown;
}

MinuteOfWeek LocalClock::Ask(Time time) const {
  if (zone_.empty()) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    if (localtime_r(&seconds, &local) == nullptr) throw std::runtime_error("no local time");
    return MinuteOf((static_cast<unsigned>(local.tm_wday) + 6) % DAY_COUNT,
                    static_cast<unsigned>(local.tm_hour), static_cast<unsigned>(local.tm_min));
  }
  const auto local = date::locate_zone(zone_)->to_local(time);
  const auto day = date::floor<date::days>(local);
  const date::hh_mm_ss clock(date::floor<std::chrono::minutes>(local - day));
  return MinuteOf(date::weekday(day).iso_encoding() - 1,
                  static_cast<unsigned>(clock.hours().count()),
                  static_cast<unsigned>(clock.minutes().count()));
}

MinuteOfWeek LocalClock::Parse(std::string_view text) {
  const std::size_t blank = text.find(' ');
  const auto time = TimeOfDay(text.substr(std::min(blank + 1, text.size())));
  std::optional<unsigned> day = Day(text.substr(0, blank));
  int year = 0;
  unsigned month = 0;
  unsigned number = 0;
  if (!day && std::sscanf(std::string(text.substr(0, blank)).c_str(), "%4d-%2u-%2u", &year, &month,
                          &number) == 3) {
    const date::year_month_day on{date::year(year), date::month(month), date::day(number)};
    if (on.ok()) day = date::weekday(date::sys_days(on)).iso_encoding() - 1;
  }
  if (blank == text.npos || !day || !time || *time == MINUTES_OF_DAY) {
    throw std::invalid_argument("\"" + std::string(text) +
                                "\" should be a time as \"2026-03-02 08:00\" or \"Mon 08:00\"");
  }
  return *day * MINUTES_OF_DAY + *time;
}

}  // namespace velmora::host
