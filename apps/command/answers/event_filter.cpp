#include "command/answers/event_filter.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <stdexcept>
#include <string_view>

#include "host/web/url.h"

namespace velmora::command {
namespace {

using Clock = std::chrono::system_clock;

struct Unit {
  std::string_view name;
  std::chrono::seconds time;
};

constexpr Unit UNITS[] = {
    {"s", std::chrono::seconds(1)},
    {"min", std::chrono::minutes(1)},
    {"h", std::chrono::hours(1)},
    {"d", std::chrono::days(1)},
};

constexpr const char *FORMATS[] = {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M",
                                   "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S"};

std::optional<Clock::time_point> ParseLocalTime(const std::string &text) {
  for (const char *const format : FORMATS) {
    std::tm local{};
    local.tm_isdst = -1;
    const char *const end = strptime(text.c_str(), format, &local);
    if (end == nullptr || *end != '\0' || local.tm_year < 0 || local.tm_year > 300) continue;
    if (const std::time_t time = std::mktime(&local); time != -1) return Clock::from_time_t(time);
  }
  return std::nullopt;
}

bool IsFrom(const std::vector<host::ClientNetwork> &networks, const std::string &client) {
  // It may have been written as a network.
  const auto address = host::ClientAddress::Parse(client.substr(0, client.find('/')));
  return address && std::ranges::any_of(networks, [&](const host::ClientNetwork &network) {
           return network.Contains(*address);
         });
}

}  // namespace

std::optional<std::chrono::seconds> ParseSpan(std::string_view text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  const auto unit = std::ranges::find(UNITS, text, &Unit::name);
  if (unit == std::end(UNITS) || number > 1'000'000) return std::nullopt;
  return number * unit->time;
}

bool EventFilter::Passes(const host::Event &event) const {
  if (since && event.time < *since) return false;
  if (until && event.time >= *until) return false;
  if (!clients.empty() && !IsFrom(clients, event.client)) return false;
  const auto is_of_sites = [this](const std::string &url) {
    return sites.Contains(host::HostName(host::HostOfUrl(url)));
  };
  if (!sites.IsEmpty() && !is_of_sites(event.url) && !is_of_sites(event.page)) return false;
  return !categories ||
         (event.kind == host::EventKind::BLOCKED && categories->Contains(event.category));
}

Clock::time_point ParseMoment(const std::string &text, Clock::time_point now) {
  if (const auto span = ParseSpan(text)) return now - *span;
  if (const auto moment = ParseLocalTime(text)) return *moment;
  throw std::invalid_argument("\"" + text +
                              "\" is no moment such as 2026-03-01, \"2026-03-01 12:34\" or 24h");
}

}  // namespace velmora::command
