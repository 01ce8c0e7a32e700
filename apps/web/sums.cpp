#include "web/sums.h"

#include <chrono>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <map>
#include <string>

#include "web/chart.h"
#include "web/layout.h"

namespace velmora::web {
namespace {

using std::chrono::hours;

/// Of more time than that days are shown.
constexpr hours MOST_BY_HOUR(200);
/// Of more time than that a bar's label is its day.
constexpr hours MOST_BY_TIME_OF_DAY(30);

std::tm Local(store::Time time) {
  return fmt::localtime(std::chrono::system_clock::to_time_t(time));
}

Markup Tile(const std::string &value, Literal name) {
  Markup html;
  html << "<li><strong>" << value << "</strong>" << name << "</li>\n";
  return html;
}

}  // namespace

Markup Tiles(const store::Counts &counts) {
  Markup html;
  html << "<ul class=\"tiles\">\n"
       << Tile(Number(counts.blocked), "blocked")
       << Tile(Number(counts.requests_saved), "requests never made")
       << Tile(Bytes(counts.bytes_saved), "saved in pages")
       << Tile(Number(counts.guarded), "pages guarded") << "</ul>\n";
  return html;
}

Markup OverTime(const std::vector<store::Sum> &hours_blocked, store::Time from, store::Time until) {
  const bool is_by_day = until - from > MOST_BY_HOUR;
  const auto start = [&](store::Time time) {
    const auto hour = std::chrono::floor<hours>(time);
    return is_by_day ? hour - hours(Local(time).tm_hour) : hour;
  };
  std::map<store::Time, std::uint64_t> blocked;
  for (auto time = start(from); time <= until; time += hours(is_by_day ? 24 : 1)) blocked[time] = 0;
  for (const store::Sum &sum : hours_blocked) blocked[start(sum.hour)] += sum.counts.blocked;
  const bool is_label_a_day = until - from > MOST_BY_TIME_OF_DAY;
  std::vector<Bar> bars;
  for (const auto &[time, count] : blocked) {
    const std::tm local = Local(time);
    bars.push_back(
        {.label = is_label_a_day ? fmt::format("{:%d %b}", local) : fmt::format("{:%H:%M}", local),
         .told =
             (is_by_day ? fmt::format("{:%a %d %b}", local) : fmt::format("{:%a %H:%M}", local)) +
             ": " + Number(count),
         .value = count});
  }
  Markup html;
  html << "<section class=\"card\"><h2>Blocked over time</h2>\n"
       << BarChart(bars, is_by_day ? "Blocked by the day" : "Blocked by the hour")
       << "</section>\n";
  return html;
}

}  // namespace velmora::web
