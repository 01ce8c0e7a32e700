#include "host/events/event.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <iterator>
#include <nlohmann/json.hpp>

#include "host/bodies/categories.h"
#include "host/events/process_number.h"

namespace velmora::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::sys_days;

struct KindName {
  EventKind kind;
  std::string_view name;
};

constexpr KindName KINDS[] = {
    {EventKind::BLOCKED, "blocked"}, {EventKind::FILTERED, "filtered"},
    {EventKind::GUARDED, "guarded"}, {EventKind::LEFT_OUT, "left-out"},
    {EventKind::OPENED, "opened"},   {EventKind::ALLOWED, "allowed"},
    {EventKind::STOPPED, "stopped"}, {EventKind::ERROR, "error"},
    {EventKind::DROPPED, "dropped"}, {EventKind::COUNTERS, "counters"},
};

struct CounterName {
  const char *name;
  std::uint64_t WorkerCounters::*number;
};

constexpr CounterName COUNTERS[] = {
    {"requests", &WorkerCounters::requests},     {"responses", &WorkerCounters::responses},
    {"filtered", &WorkerCounters::filtered},     {"refused", &WorkerCounters::refused},
    {"broken-off", &WorkerCounters::broken_off}, {"bytes-in", &WorkerCounters::bytes_in},
    {"bytes-out", &WorkerCounters::bytes_out},   {"filter-ns", &WorkerCounters::filter_nanoseconds},
};

constexpr struct {
  const char *name;
  std::uint64_t WorkerReport::*number;
} GAUGES[] = {{"held", &WorkerReport::held},
              {"queued", &WorkerReport::queued},
              {"lost", &WorkerReport::lost}};

std::string_view NameOfReason(std::size_t reason) noexcept {
  return Describe(static_cast<StopReason>(reason));
}

void AddReport(nlohmann::ordered_json &line, const WorkerReport &report) {
  const WorkerCounters &counters = report.counters;
  line["member"] = report.member;
  for (const auto &[name, number] : COUNTERS) line[name] = counters.*number;
  for (const auto &[name, number] : GAUGES) line[name] = report.*number;
  line["saved"] = static_cast<std::int64_t>(counters.saved);
  line["filter-times"] = counters.filter_times;
  // Most of these are nothing, most of the time.
  auto &blocked = line["blocked"] = nlohmann::ordered_json::object();
  for (std::size_t i = 0; i < counters.blocked.size(); ++i) {
    if (counters.blocked[i] != 0)
      blocked[std::string(CATEGORY_TABLE[i].name)] = counters.blocked[i];
  }
  auto &stopped = line["stopped"] = nlohmann::ordered_json::object();
  for (std::size_t i = 0; i < counters.stopped.size(); ++i) {
    if (counters.stopped[i] != 0) stopped[std::string(NameOfReason(i))] = counters.stopped[i];
  }
}

WorkerReport ReadReport(const nlohmann::json &line) {
  WorkerReport report{.member = line.value("member", "")};
  WorkerCounters &counters = report.counters;
  for (const auto &[name, number] : COUNTERS) counters.*number = line.value(name, std::uint64_t{0});
  for (const auto &[name, number] : GAUGES) report.*number = line.value(name, std::uint64_t{0});
  counters.saved = static_cast<std::uint64_t>(line.value("saved", std::int64_t{0}));
  counters.filter_times = line.value("filter-times", decltype(counters.filter_times){});
  const auto blocked = line.value("blocked", nlohmann::json::object());
  for (std::size_t i = 0; i < counters.blocked.size(); ++i) {
    counters.blocked[i] = blocked.value(std::string(CATEGORY_TABLE[i].name), std::uint64_t{0});
  }
  const auto stopped = line.value("stopped", nlohmann::json::object());
  for (std::size_t i = 0; i < counters.stopped.size(); ++i) {
    counters.stopped[i] = stopped.value(std::string(NameOfReason(i)), std::uint64_t{0});
  }
  return report;
}

}  // namespace

std::optional<std::chrono::system_clock::time_point> ParseTime(const std::string &text) {
  int year, hour, minute, second, millisecond;
  unsigned month, day;
  if (std::sscanf(text.c_str(), "%4d-%2u-%2uT%2d:%2d:%2d.%3dZ", &year, &month, &day, &hour, &minute,
                  &second, &millisecond) != 7) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                         std::chrono::day(day)};
  // Years that the clock can count.
  if (!date.ok() || year < 1700 || year > 2200) return std::nullopt;
  return sys_days(date) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
         std::chrono::seconds(second) + milliseconds(millisecond);
}

std::string TimeText(std::chrono::system_clock::time_point time) {
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(std::chrono::floor<milliseconds>(time - day));
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int{date.year()},
                unsigned{date.month()}, unsigned{date.day()},
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()),
                static_cast<int>(clock.subseconds().count()));
  return text;
}

std::string MakeBlockId() {
  static const auto begin =
      static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
  static std::atomic<std::uint64_t> made{0};
  // The process's number too: several may have begun as one.
  std::uint64_t mixed =
      begin + ++made * 0x9E3779B97F4A7C15U + (std::uint64_t(ProcessNumber()) << 40U);
  mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
  mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
  mixed ^= mixed >> 31U;
  std::string id;
  for (int i = 0; i < 10; ++i, mixed >>= 5U) {
    id += "0123456789abcdefghjkmnpqrstvwxyz"[mixed & 31U];
  }
  return id;
}

std::string ToLine(const Event &event) {
  nlohmann::ordered_json line;
  const auto add_known = [&](const char *name, const std::string &text) {
    if (!text.empty()) line[name] = text;
  };
  line["time"] = TimeText(event.time);
  line["pid"] = event.pid;
  if (event.number != 0) line["number"] = event.number;
  line["event"] = std::ranges::find(KINDS, event.kind, &KindName::kind)->name;
  add_known("client", event.client);
  add_known("url", event.url);
  switch (event.kind) {
    case EventKind::BLOCKED:
      line["category"] = NameOfCategory(event.category);
      line["code"] = event.category;
      line["item"] = event.item;
      line["detail"] = event.detail;
      add_known("id", event.id);
      add_known("address", event.address);
      add_known("response", event.response);
      if (event.offset) line["offset"] = *event.offset;
      add_known("page", event.page);
      add_known("type", event.type);
      add_known("list", event.list);
      break;
    case EventKind::FILTERED:
      add_known("id", event.id);
      line["items"] = event.items;
      line["saved"] = event.saved;
      break;
    case EventKind::GUARDED:
    case EventKind::LEFT_OUT:
      line["category"] = NameOfCategory(event.category);
      line["code"] = event.category;
      break;
    case EventKind::OPENED:
    case EventKind::ALLOWED:
      break;
    case EventKind::STOPPED:
    case EventKind::ERROR:
      line["reason"] = event.reason;
      break;
    case EventKind::DROPPED:
      line["count"] = event.count;
      break;
    case EventKind::COUNTERS:
      if (event.counters) AddReport(line, *event.counters);
      break;
  }
  return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

std::optional<Event> FromLine(std::string_view line) {
  const auto json = nlohmann::json::parse(line, nullptr, false);
  if (!json.is_object()) return std::nullopt;
  try {
    const auto kind = std::ranges::find(KINDS, json.value("event", ""), &KindName::name);
    const auto time = ParseTime(json.value("time", ""));
    if (kind == std::end(KINDS) || !time) return std::nullopt;
    std::optional<std::uint64_t> offset;
    if (json.contains("offset")) offset = json["offset"].get<std::uint64_t>();
    return Event{
        .kind = kind->kind,
        .time = *time,
        .pid = json.value("pid", 0),
        .number = json.value("number", std::uint64_t{0}),
        .client = json.value("client", ""),
        .url = json.value("url", ""),
        .category = json.value("code", 0),
        .item = json.value("item", ""),
        .detail = json.value("detail", ""),
        .id = json.value("id", ""),
        .address = json.value("address", ""),
        .response = json.value("response", ""),
        .offset = offset,
        .page = json.value("page", ""),
        .type = json.value("type", ""),
        .list = json.value("list", ""),
        .reason = json.value("reason", ""),
        .count = json.value("count", std::uint64_t{0}),
        .items = json.value("items", std::uint64_t{0}),
        .saved = json.value("saved", std::int64_t{0}),
        .counters = kind->kind == EventKind::COUNTERS
                        ? std::make_shared<const WorkerReport>(ReadReport(json))
                        : nullptr,
    };
  } catch (const nlohmann::json::exception &) {
    return std::nullopt;
  }
}

}  // namespace velmora::host
