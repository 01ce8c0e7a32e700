#include "command/activity_report.h"

#include <ctime>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <string_view>

#include "base/html_text.h"
#include "command/answers/messages.h"
#include "host/events/event.h"

namespace velmora::command {
namespace {

using store::Counts;
using store::Dimension;
using store::Sum;

struct Column {
  const char *name;
  std::uint64_t Counts::*number;
};

/// Of every row; bytes come beside them.
constexpr Column COLUMNS[] = {
    {"blocked", &Counts::blocked}, {"requests_saved", &Counts::requests_saved},
    {"bodies", &Counts::filtered}, {"guarded", &Counts::guarded},
    {"stopped", &Counts::stopped}, {"errors", &Counts::errors},
    {"missing", &Counts::missing},
};
constexpr char BYTES[] = "bytes_saved";

std::string LocalTime(store::Time time, const char *format) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[64];
  return std::string(text, std::strftime(text, sizeof text, format, &local));
}

std::string Title(const ActivityReport &report) {
  return LocalTime(report.from, "%F %H:%M") + " to " + LocalTime(report.until, "%F %H:%M");
}

/// "1.5 MB", with a sign where there is less than before.
std::string Bytes(std::int64_t bytes) {
  constexpr const char *UNITS[] = {"bytes", "kB", "MB", "GB", "TB"};
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; (size >= 1000 || size <= -1000) && unit + 1 < std::size(UNITS); ++unit) size /= 1000;
  return fmt::format("{:.{}f} {}", size, unit == 0 ? 0 : 1, UNITS[unit]);
}

std::string RowName(const Sum &sum, Dimension by) {
  if (by == Dimension::HOUR) return LocalTime(sum.hour, "%F %H:%M");
  return sum.name.empty() ? "(unknown)" : sum.name;
}

/// What is worth a word of the whole.
std::vector<std::string> Words(const Counts &total) {
  std::vector<std::string> words = {
      fmt::format("{} blocked, {} of them requests never made", total.blocked,
                  total.requests_saved),
      fmt::format("{} saved in {} pages and scripts", Bytes(total.bytes_saved), total.filtered)};
  const auto add = [&](std::uint64_t number, const char *what) {
    if (number != 0) words.push_back(fmt::format("{} {}", number, what));
  };
  add(total.guarded, "pages guarded from pop-ups or script errors");
  add(total.stopped, "bodies not filtered to their end");
  add(total.errors, "errors");
  add(total.missing, "events missing from the log");
  return words;
}

/// What a page gets shorter by is not told apart by category and rule.
bool HasBytes(Dimension by) noexcept {
  return by != Dimension::CATEGORY && by != Dimension::RULE;
}

// HTML.

/// The bars of a chart: by the hour, or by the day where there are many hours.
std::vector<std::pair<std::string, std::uint64_t>> Bars(const ActivityReport &report) {
  const bool are_days = report.until - report.from > std::chrono::hours(72);
  std::vector<std::pair<std::string, std::uint64_t>> bars;
  for (const Sum &sum : report.hours) {
    std::string name = LocalTime(sum.hour, are_days ? "%a %F" : "%a %H:00");
    if (bars.empty() || bars.back().first != name) bars.emplace_back(std::move(name), 0);
    bars.back().second += sum.counts.blocked;
  }
  return bars;
}

std::string Chart(const ActivityReport &report) {
  constexpr double WIDTH = 720;
  constexpr double HEIGHT = 120;
  const auto bars = Bars(report);
  std::uint64_t most = 1;
  for (const auto &[name, count] : bars) most = std::max(most, count);
  std::string svg = fmt::format(
      "<svg viewBox=\"0 0 {} {}\" role=\"img\" aria-label=\"Blocked over time\">", WIDTH, HEIGHT);
  const double step = bars.empty() ? WIDTH : WIDTH / static_cast<double>(bars.size());
  for (std::size_t i = 0; i < bars.size(); ++i) {
    const double height = HEIGHT * static_cast<double>(bars[i].second) / static_cast<double>(most);
    svg += fmt::format(
        "<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\"><title>{}: "
        "{}</title></rect>",
        step * static_cast<double>(i), HEIGHT - height, step * 0.85, height, bars[i].first,
        bars[i].second);
  }
  return svg + "</svg>\n";
}

constexpr char PAGE[] = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<title>Velmora: {0}</title>
<style>
:root {{ color-scheme: light dark; font: 16px/1.5 system-ui, sans-serif; }}
body {{ max-width: 48rem; margin: 2rem auto; padding: 0 1rem; }}
table {{ border-collapse: collapse; width: 100%; margin-bottom: 2rem; }}
th, td {{ text-align: left; padding: .2rem .5rem; border-bottom: 1px solid #8884; }}
td:first-child {{ overflow-wrap: anywhere; }}
td + td, th + th {{ text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }}
svg {{ width: 100%; fill: #2a7ab8; }}
</style>
</head>
<body>
<h1>{0}</h1>
)";

std::string Table(const ReportSection &section) {
  const bool has_bytes = HasBytes(section.by);
  std::string table = fmt::format(
      "<h2>By {0}</h2>\n<table>\n<tr><th scope=\"col\">{0}</th><th scope=\"col\">blocked</th>"
      "<th scope=\"col\">requests saved</th>{1}</tr>\n",
      NameOf(section.by), has_bytes ? "<th scope=\"col\">bytes saved</th>" : "");
  for (const Sum &sum : section.sums) {
    table += fmt::format("<tr><td>{}</td><td>{}</td><td>{}</td>",
                         base::EscapedForHtml(RowName(sum, section.by)), sum.counts.blocked,
                         sum.counts.requests_saved);
    if (has_bytes) table += "<td>" + Bytes(sum.counts.bytes_saved) + "</td>";
    table += "</tr>\n";
  }
  return table + "</table>\n";
}

// CSV.

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + "\"";
}

nlohmann::ordered_json Json(const Counts &counts) {
  nlohmann::ordered_json object;
  for (const auto &[name, number] : COLUMNS) object[name] = counts.*number;
  object[BYTES] = counts.bytes_saved;
  return object;
}

}  // namespace

const char *NameOf(Dimension by) noexcept {
  constexpr const char *NAMES[] = {"client", "site", "category", "rule", "hour"};
  return NAMES[static_cast<std::size_t>(by)];
}

std::string AsText(const ActivityReport &report) {
  std::string text = Title(report) + "\n";
  for (const std::string &words : Words(report.total)) text += words + "\n";
  for (const ReportSection &section : report.sections) {
    const bool has_bytes = HasBytes(section.by);
    text += fmt::format("\n{:<44}{:>10}{:>10}{:>14}\n", std::string("by ") + NameOf(section.by),
                        "blocked", "requests", has_bytes ? "bytes saved" : "");
    for (const Sum &sum : section.sums) {
      text += fmt::format("  {:<42}{:>10}{:>10}{:>14}\n", Fitting(RowName(sum, section.by), 41),
                          sum.counts.blocked, sum.counts.requests_saved,
                          has_bytes ? Bytes(sum.counts.bytes_saved) : "");
    }
  }
  return text;
}

std::string AsHtml(const ActivityReport &report) {
  std::string page = fmt::format(PAGE, Title(report));
  page += "<ul>\n";
  for (const std::string &words : Words(report.total)) {
    page += "<li>" + base::EscapedForHtml(words) + "</li>\n";
  }
  page += "</ul>\n" + Chart(report);
  for (const ReportSection &section : report.sections) page += Table(section);
  return page + "</body>\n</html>\n";
}

std::string AsCsv(const ActivityReport &report) {
  std::string text;
  for (const ReportSection &section : report.sections) {
    if (!text.empty()) text += "\r\n";
    text += NameOf(section.by);
    for (const auto &[name, number] : COLUMNS) text += std::string(",") + name;
    text += std::string(",") + BYTES + "\r\n";
    for (const Sum &sum : section.sums) {
      const bool is_hour = section.by == Dimension::HOUR;
      text += Quoted(is_hour ? host::TimeText(sum.hour) : sum.name);
      for (const auto &[name, number] : COLUMNS) text += fmt::format(",{}", sum.counts.*number);
      text += fmt::format(",{}\r\n", sum.counts.bytes_saved);
    }
  }
  return text;
}

std::string AsJson(const ActivityReport &report) {
  nlohmann::ordered_json object;
  object["from"] = host::TimeText(report.from);
  object["until"] = host::TimeText(report.until);
  object["total"] = Json(report.total);
  for (const ReportSection &section : report.sections) {
    auto &rows = object[std::string("by ") + NameOf(section.by)] = nlohmann::ordered_json::array();
    for (const Sum &sum : section.sums) {
      nlohmann::ordered_json row;
      row[NameOf(section.by)] = section.by == Dimension::HOUR ? host::TimeText(sum.hour) : sum.name;
      if (!sum.list.empty()) row["list"] = sum.list;
      row.update(Json(sum.counts));
      rows.push_back(std::move(row));
    }
  }
  return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace velmora::command
