// velmora why: what stands behind a block, by its id or by an address.
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "command/commands.h"
#include "command/event_source.h"
#include "command/files.h"
#include "command/followed_file.h"
#include "command/messages.h"
#include "host/bodies/categories.h"
#include "host/events/event.h"
#include "host/policy/policy.h"

namespace velmora::command {
namespace {

constexpr std::size_t MOST_SHOWN = 5;
/// Of one body.
constexpr std::size_t MOST_SHOWN_OF_BODY = 1000;

struct WhyOptions {
  std::string asked;
  std::string policy = host::DefaultPolicy();
  std::vector<std::string> logs;
};

std::string Line(std::string_view name, std::string_view value) {
  if (value.empty()) return {};
  return fmt::format("  {:<14}{}\n", name, Printable(std::string(value)));
}

/// The rules of the policy that apply to the page, and what they come to.
std::string PolicyRules(const host::Policy &policy, const host::Event &event) {
  const std::string &page = event.page.empty() ? event.url : event.page;
  std::string rules = "[filter]";
  for (const host::PolicyRule *const rule : policy.RulesFor({page, event.client})) {
    rules += fmt::format(", {} (line {})", rule->name, rule->line);
  }
  const bool holds = policy.For(page, event.client).categories.Contains(event.category);
  return rules + (holds ? "" : "; not blocked by the policy as it is now");
}

/// What became of a whole body.
std::string StoryOfBody(const host::Event &event) {
  return fmt::format("{} filtered {}\n", host::TimeText(event.time), event.id) +
         Line("url", event.url) + Line("items", std::to_string(event.items)) +
         Line("saved", fmt::format("{} bytes", event.saved)) + Line("client", event.client);
}

std::string Story(const host::Event &event, const std::optional<host::Policy> &policy) {
  if (event.kind == host::EventKind::FILTERED) return StoryOfBody(event);
  std::string text = fmt::format("{} blocked {}\n", host::TimeText(event.time),
                                 event.id.empty() ? std::string("(no id)") : event.id);
  const std::string_view category = host::NameOfCategory(event.category);
  text += Line("category", category.empty() ? std::to_string(event.category) : category);
  text += Line(event.type.empty() ? "in" : "request", event.url);
  text += Line("type", event.type);
  text += Line("for the page", event.page);
  text += Line("item", event.type.empty() ? event.item : std::string());
  text += Line("address", event.address);
  if (event.offset) text += Line("place", fmt::format("byte {} of the body", *event.offset));
  text += Line("rule", event.detail);
  text += Line("list, line", event.list);
  text += Line("client", event.client);
  return text + (policy ? Line("policy", PolicyRules(*policy, event)) : std::string());
}

/// The newest blocked items that are asked for, in their order.
class Found {
 public:
  explicit Found(const std::string &asked) : asked_(asked) {}

  void Add(std::string_view line) {
    // Few lines of a log are meant, and reading one is dear.
    if (line.find(asked_) == line.npos) return;
    auto event = host::FromLine(line);
    if (!event || !IsMeant(*event)) return;
    ++count_;
    const bool is_of_body = event->kind == host::EventKind::FILTERED || event->response == asked_;
    const std::size_t most = is_of_body ? MOST_SHOWN_OF_BODY : MOST_SHOWN;
    events_.push_back(std::move(*event));
    if (events_.size() > most) events_.erase(events_.begin());
  }

  bool IsMeant(const host::Event &event) const noexcept {
    if (event.kind == host::EventKind::FILTERED) return event.id == asked_;
    return event.kind == host::EventKind::BLOCKED &&
           (event.id == asked_ || event.response == asked_ || event.url == asked_ ||
            event.address == asked_);
  }

  const std::vector<host::Event> &Events() const noexcept { return events_; }
  std::size_t Count() const noexcept { return count_; }

 private:
  const std::string &asked_;
  std::vector<host::Event> events_;
  std::size_t count_ = 0;
};

void Search(const std::string &log, Found &found) {
  if (IsFinishedLog(log)) {
    return ReadFinishedLog(log, [&](std::string_view line) { found.Add(line); });
  }
  FollowedFile file(log);
  std::vector<std::string> lines;
  for (bool is_more = true; is_more; lines.clear()) {
    is_more = file.Read(lines);
    for (const std::string &line : lines) found.Add(line);
  }
}

int Why(WhyOptions options) {
  std::optional<host::Policy> policy;
  if (std::filesystem::exists(options.policy)) policy = host::ReadPolicy(options.policy);
  if (options.logs.empty()) {
    if (!policy || !policy->event_log || policy->event_log->file.empty()) {
      throw std::runtime_error(options.policy + " names no file for the event log; --log does");
    }
    options.logs = {policy->event_log->file.string()};
  }
  Found found(options.asked);
  for (const std::string &log : options.logs) Search(log, found);
  if (found.Count() == 0) {
    throw std::runtime_error(Printable(options.asked) +
                             ": nothing of that id or address was blocked, as far as the log goes; "
                             "\"velmora ads\" says what the lists have about an address");
  }
  Output output({});
  for (const host::Event &event : found.Events()) output.Write(Story(event, policy));
  if (const std::size_t shown = found.Events().size(); found.Count() > shown) {
    output.Write(fmt::format("and {} times before\n", found.Count() - shown));
  }
  output.Finish();
  return EXIT_OK;
}

}  // namespace

void AddWhy(CLI::App &application, Action &action) {
  CLI::App &command = *application.add_subcommand("why", "Say why something was blocked");
  const auto options = std::make_shared<WhyOptions>();
  command
      .add_option("URL-OR-ID", options->asked,
                  "The id that X-Velmora or the page says, or an address as the log has it")
      ->required()
      ->type_name("");
  command
      .add_option("--log", options->logs,
                  "Event logs to look into (repeatable; default: the one that the policy names)")
      ->type_name("FILE")
      ->allow_extra_args(false);
  command
      .add_option("--policy", options->policy,
                  fmt::format("The policy (default: {})", options->policy))
      ->type_name("FILE");
  command.footer("Exit code: 0 there is an answer, 1 there is none, 2 wrong usage.");
  command.callback([options, &action] { action = [options] { return Why(*options); }; });
}

}  // namespace velmora::command
