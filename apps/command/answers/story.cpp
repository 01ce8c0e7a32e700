#include "command/answers/story.h"

#include <fmt/format.h>

#include "command/answers/event_source.h"
#include "command/answers/followed_file.h"
#include "host/bodies/categories.h"
#include "host/events/event_log.h"

namespace velmora::command {
namespace {

constexpr std::size_t MOST_KEPT = 5;
/// Of one body.
constexpr std::size_t MOST_KEPT_OF_BODY = 1000;

/// The rules of the policy that apply to the page, and what they come to.
std::string PolicyRules(const host::Policy &policy, const host::Event &event) {
  const bool is_by_site = !SiteCategoryOf(event).empty();
  const host::Asked asked(
      is_by_site || event.page.empty() ? event.url : event.page,
      host::Asker{.client = event.client, .minute = policy.clock->Read(event.time)});
  std::string rules = "[filter]";
  for (const host::PolicyRule *const rule : policy.RulesFor(asked)) {
    rules += fmt::format(", {} (line {})", rule->name, rule->line);
  }
  const host::PolicyAnswer answer = policy.For(asked);
  const bool holds = is_by_site ? policy.BlockedSite(answer, asked) != nullptr
                                : answer.categories.Contains(event.category);
  return rules + (holds ? "" : "; not blocked by the policy as it is now");
}

/// What became of a whole body.
Sheet StoryOfBody(const host::Event &event) {
  Sheet story{fmt::format("{} filtered {}", host::TimeText(event.time), event.id)};
  story.Add("url", event.url);
  story.Add("items", std::to_string(event.items));
  story.Add("saved", fmt::format("{} bytes", event.saved));
  story.Add("client", event.client);
  return story;
}

}  // namespace

std::string_view SiteCategoryOf(const host::Event &event) noexcept {
  std::string_view place = event.list;
  if (!place.starts_with(host::SITE_CATEGORY_PLACE)) return {};
  place.remove_prefix(host::SITE_CATEGORY_PLACE.size());
  return place.substr(0, place.rfind(':'));
}

Sheet Story(const host::Event &event, const std::optional<host::Policy> &policy) {
  if (event.kind == host::EventKind::FILTERED) return StoryOfBody(event);
  Sheet story{fmt::format("{} blocked {}", host::TimeText(event.time),
                          event.id.empty() ? "(no id)" : event.id)};
  const std::string_view category = host::NameOfCategory(event.category);
  story.Add("category", category.empty() ? std::to_string(event.category) : std::string(category));
  story.Add(event.type.empty() ? "in" : "request", event.url);
  story.Add("type", event.type);
  story.Add("for the page", event.page);
  story.Add("item", event.type.empty() ? event.item : std::string());
  story.Add("address", event.address);
  if (event.offset) story.Add("place", fmt::format("byte {} of the body", *event.offset));
  story.Add("rule", event.detail);
  story.Add("list, line", event.list);
  story.Add("client", event.client);
  if (policy) story.Add("policy", PolicyRules(*policy, event));
  return story;
}

void FoundEvents::Search(const std::string &log) {
  if (IsFinishedLog(log)) {
    return ReadFinishedLog(log, [this](std::string_view line) { Add(line); });
  }
  FollowedFile file(log);
  std::vector<std::string> lines;
  for (bool is_more = true; is_more; lines.clear()) {
    is_more = file.Read(lines);
    for (const std::string &line : lines) Add(line);
  }
}

void FoundEvents::Add(std::string_view line) {
  // Few lines of a log are meant, and reading one is dear.
  if (line.find(asked_) == line.npos) return;
  auto event = host::FromLine(line);
  if (!event || !IsMeant(*event)) return;
  ++count_;
  const bool is_of_body = event->kind == host::EventKind::FILTERED || event->response == asked_;
  const std::size_t most = is_of_body ? MOST_KEPT_OF_BODY : MOST_KEPT;
  events_.push_back(std::move(*event));
  if (events_.size() > most) events_.erase(events_.begin());
}

bool FoundEvents::IsMeant(const host::Event &event) const noexcept {
  if (event.kind == host::EventKind::FILTERED) return event.id == asked_;
  return event.kind == host::EventKind::BLOCKED &&
         (event.id == asked_ || event.response == asked_ || event.url == asked_ ||
          event.address == asked_);
}

}  // namespace velmora::command
