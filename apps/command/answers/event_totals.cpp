#include "command/answers/event_totals.h"

#include <algorithm>

#include "base/ascii.h"
#include "host/bodies/categories.h"
#include "host/web/url.h"

namespace velmora::command {
namespace {

std::int64_t SecondOf(EventTotals::Time time) noexcept {
  return std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
}

std::string SiteOf(const std::string &url) {
  std::string site(host::HostOfUrl(url));
  std::ranges::transform(site, site.begin(), base::ToLowerAscii);
  return site.empty() ? "(unknown)" : site;
}

}  // namespace

void EventTotals::Add(const host::Event &event) {
  if (!period_) period_.emplace(event.time, event.time);
  period_->first = std::min(period_->first, event.time);
  period_->second = std::max(period_->second, event.time);
  switch (event.kind) {
    case host::EventKind::BLOCKED: {
      ++blocked_;
      ++categories_[event.category];
      if (event.category == host::CATEGORY_REQUESTS) ++not_made_;
      // A request counts where it was asked for.
      ++sites_[SiteOf(event.page.empty() ? event.url : event.page)];
      ++clients_[event.client.empty() ? "(unknown)" : event.client];
      const std::int64_t time = SecondOf(event.time);
      Second &second = seconds_[static_cast<std::uint64_t>(time) % seconds_.size()];
      if (second.time < time) second = {time, 0};
      if (second.time == time) ++second.items;
      break;
    }
    case host::EventKind::FILTERED:
      bytes_saved_ += event.saved;
      return;
    case host::EventKind::GUARDED:
      ++guarded_;
      return;
    case host::EventKind::LEFT_OUT:
    case host::EventKind::OPENED:
    case host::EventKind::ALLOWED:
    case host::EventKind::COUNTERS:
      return;
    case host::EventKind::STOPPED:
      ++stopped_;
      break;
    case host::EventKind::ERROR:
      ++errors_;
      break;
    case host::EventKind::DROPPED:
      dropped_ += event.count;
      return;
  }
  latest_.push_back(event);
  if (latest_.size() > MOST_LATEST) latest_.pop_front();
}

std::vector<EventTotals::Count> EventTotals::ByCategory() const {
  Counts names;
  for (const auto &[category, count] : categories_) {
    const std::string_view name = host::NameOfCategory(category);
    names[name.empty() ? std::to_string(category) : std::string(name)] += count;
  }
  return Sorted(names);
}

std::vector<EventTotals::Count> EventTotals::Sorted(const Counts &counts) {
  std::vector<Count> sorted(counts.begin(), counts.end());
  std::ranges::sort(sorted, [](const Count &a, const Count &b) {
    return a.second != b.second ? a.second > b.second : a.first < b.first;
  });
  return sorted;
}

double EventTotals::Rate(Time now, std::size_t seconds) const {
  seconds = std::min(seconds, seconds_.size() - 1);
  const std::int64_t end = SecondOf(now);
  const std::int64_t begin = end - static_cast<std::int64_t>(seconds);
  std::uint64_t items = 0;
  for (const Second &second : seconds_) {
    if (begin <= second.time && second.time < end) items += second.items;
  }
  return static_cast<double>(items) / static_cast<double>(seconds);
}

}  // namespace velmora::command
