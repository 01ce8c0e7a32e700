#include "command/activity_report.h"

#include <ctime>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "command/answers/messages.h"
#include "host/events/event.h"
#include "web/layout.h"

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

std::string TitleOf(const ActivityReport &report) {
  return LocalTime(report.from, "%F %H:%M") + " to " + LocalTime(report.until, "%F %H:%M");
}

std::string RowName(const Sum &sum, Dimension by) {
  if (by == Dimension::HOUR) return LocalTime(sum.hour, "%F %H:%M");
  return sum.name.empty() ? "(unknown)" : sum.name;
}

std::vector<std::string> TroublesOf(const ActivityReport &report) {
  const std::pair<std::uint64_t, const char *> numbers[] = {
      {report.total.stopped, "bodies not filtered to their end"},
      {report.total.errors, "errors"},
      {report.total.missing, "events missing from the log"}};
  std::vector<std::string> troubles;
  for (const auto &[number, what] : numbers) {
    if (number != 0) troubles.push_back(fmt::format("{} {}", number, what));
  }
  return troubles;
}

bool HasBytes(Dimension by) noexcept {
  return by != Dimension::CATEGORY && by != Dimension::RULE;
}

std::string AsText(const ActivityReport &report) {
  const Counts &total = report.total;
  std::string text = fmt::format(
      "{}\n{} blocked, {} of them requests never made\n{} saved in {} pages and scripts\n",
      TitleOf(report), total.blocked, total.requests_saved, web::Bytes(total.bytes_saved),
      total.filtered);
  if (total.guarded != 0) {
    text += fmt::format("{} pages guarded from pop-ups or script errors\n", total.guarded);
  }
  for (const std::string &trouble : TroublesOf(report)) text += trouble + "\n";
  for (const ReportSection &section : report.sections) {
    const bool has_bytes = HasBytes(section.by);
    const auto add = [&](const std::string &name, const auto &blocked, const auto &requests,
                         const std::string &bytes) {
      text += fmt::format("{:<44}{:>10}{:>10}", name, blocked, requests);
      text += has_bytes ? fmt::format("{:>14}\n", bytes) : "\n";
    };
    text += "\n";
    add(std::string("by ") + NameOf(section.by), "blocked", "requests", "bytes saved");
    for (const Sum &sum : section.sums) {
      add("  " + Fitting(RowName(sum, section.by), 41), sum.counts.blocked,
          sum.counts.requests_saved, web::Bytes(sum.counts.bytes_saved));
    }
  }
  return text;
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
