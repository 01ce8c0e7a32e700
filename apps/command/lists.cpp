// velmora lists: which ad lists the policy comes to, how old they are, and what of them counts;
// and fetches those that have a URL.
#include <chrono>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "command/commands.h"
#include "command/files.h"
#include "command/list_fetching.h"
#include "command/messages.h"
#include "host/events/event.h"
#include "host/policy/fetched_lists.h"
#include "host/policy/policy.h"
#include "matcher/loader.h"
#include "matcher/sources.h"

namespace velmora::command {
namespace {

using Clock = std::chrono::system_clock;

struct ListsOptions {
  std::string policy = host::DefaultPolicy();
  FetchOptions fetching{};
  bool only_due = false;
};

std::string Line(std::string_view name, std::string_view value) {
  return value.empty() ? std::string()
                       : fmt::format("  {:<9}{}\n", name, Printable(std::string(value)));
}

std::string SpanText(std::chrono::hours span) {
  const auto count = span.count();
  if (count < 48) return fmt::format("{} hour{}", count, count == 1 ? "" : "s");
  return fmt::format("{} days", count / 24);
}

std::chrono::hours Since(Clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::hours>(Clock::now() - time);
}

/// When the list was last known to be the newest: when it was last fetched, else written.
std::optional<Clock::time_point> KnownNew(const std::string &name) {
  if (const auto checked = ReadFetchRecord(name).checked) return checked;
  std::error_code failure;
  const auto written = std::filesystem::last_write_time(name, failure);
  if (failure) return std::nullopt;
  return std::chrono::time_point_cast<Clock::duration>(std::chrono::file_clock::to_sys(written));
}

std::string AgeText(const std::string &name, const ListHead &head) {
  const auto known_new = KnownNew(name);
  if (!known_new) return {};
  const auto age = Since(*known_new);
  std::string text = SpanText(age);
  if (head.expires) {
    text += fmt::format("; it expires after {}{}", SpanText(*head.expires),
                        age > *head.expires ? ": time to fetch it" : "");
  }
  return text;
}

std::string CountsText(const adblock::ListCounts &counts) {
  std::string text = fmt::format("{} in force", counts.rules);
  if (counts.repeated != 0) text += fmt::format(", {} that another list has too", counts.repeated);
  if (counts.cancelled != 0) text += fmt::format(", {} taken back (badfilter)", counts.cancelled);
  return text;
}

std::string SkippedText(const adblock::ListCounts &counts) {
  std::string text;
  for (std::size_t skip = 0; skip < adblock::SKIP_COUNT; ++skip) {
    if (counts.skipped[skip] == 0) continue;
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", counts.skipped[skip],
                        adblock::SKIP_NAMES[skip]);
  }
  return text;
}

std::string OneList(const adblock::ListText &list, const adblock::ListCounts &counts) {
  const ListHead head = ReadListHead(list.text);
  std::string text = Printable(head.title.empty() ? list.name : head.title) + "\n";
  if (!head.title.empty()) text += Line("file", list.name);
  text += Line("from", ReadFetchRecord(list.name).url);
  text += Line("rules", CountsText(counts));
  text += Line("skipped", SkippedText(counts));
  return text + Line("age", AgeText(list.name, head));
}

template <class Paths>
std::vector<std::string> Strings(const Paths &paths) {
  std::vector<std::string> texts;
  texts.reserve(paths.size());
  for (const auto &path : paths) texts.push_back(path.string());
  return texts;
}

/// What the library will be told to read.
adblock::Choice ChoiceOf(const host::AdLibraryOptions &ads) {
  adblock::Choice choice{.lists = Strings(ads.lists), .extra_lists = Strings(ads.extra_lists)};
  for (const std::string &rule : ads.rules) choice.rules += rule + "\n";
  choice.rules_name = ads.rules_name;
  return choice;
}

int Show(const ListsOptions &options) {
  host::Policy policy;
  if (std::filesystem::exists(options.policy)) policy = host::ReadPolicy(options.policy);
  const adblock::Sources sources = adblock::ReadSources(ChoiceOf(policy.ads));
  const auto rules = adblock::LoadRules(sources.lists, adblock::CacheFolder()).rules;
  const auto &counted = rules->Compiled().lists;
  Output output({});
  for (std::uint32_t at = 0; at < counted.Count(); ++at) {
    output.Write(OneList(sources.lists[at], counted[at].counts));
  }
  for (const std::string &url : policy.list_urls) {
    if (!std::filesystem::exists(host::FetchedList(policy.state_folder, url))) {
      output.Write(Printable(url) + "\n  not fetched yet; \"velmora lists update\" does\n");
    }
  }
  output.Write(fmt::format("{} rules in all\n", rules->Compiled().rules.Count()));
  output.Finish();
  for (const std::string &problem : sources.problems) PrintMessage(problem);
  return sources.problems.empty() ? EXIT_OK : EXIT_FAILED;
}

/// Has its time come? A list that says nothing is looked for every day.
bool IsDue(const std::filesystem::path &file) {
  const auto checked = ReadFetchRecord(file).checked;
  if (!checked || !std::filesystem::exists(file)) return true;
  Input input(file.string());
  const auto expires = ReadListHead(input.Read(1U << 14)).expires;
  return Since(*checked) >= expires.value_or(std::chrono::hours(23));
}

std::string ResultText(const FetchResult &result) {
  switch (result.kind) {
    case FetchResult::Kind::UNCHANGED:
      return "unchanged";
    case FetchResult::Kind::NEW:
      break;
    case FetchResult::Kind::REFUSED:
      return "not taken: " + result.reason;
  }
  return fmt::format("new: {} rules{}", result.rules,
                     result.rules_before ? fmt::format(" ({} before)", *result.rules_before) : "");
}

int Update(const ListsOptions &options) {
  const host::Policy policy = host::ReadPolicy(options.policy);
  if (policy.list_urls.empty()) {
    if (options.only_due) return 0;  // what a timer asks for each day is no mistake
    throw std::runtime_error(options.policy + " names no \"urls\" in [ads]");
  }
  const std::filesystem::path stamp = host::FetchedListsStamp(policy.state_folder);
  std::filesystem::create_directories(stamp.parent_path());
  bool is_any_new = false;
  bool is_all_well = true;
  Output output({});
  for (const std::string &url : policy.list_urls) {
    const std::filesystem::path file = host::FetchedList(policy.state_folder, url);
    if (options.only_due && !IsDue(file)) {
      output.Write(fmt::format("{}: not due yet\n", Printable(url)));
      continue;
    }
    const FetchResult result = FetchList(url, file, options.fetching);
    is_any_new |= result.kind == FetchResult::Kind::NEW;
    is_all_well &= result.kind != FetchResult::Kind::REFUSED;
    output.Write(fmt::format("{}: {}\n", Printable(url), ResultText(result)));
  }
  if (is_any_new) {
    // Proxies look at it and take the lists.
    Output stamped(stamp);
    stamped.Write(host::TimeText(Clock::now()) + "\n");
    stamped.Finish();
  }
  output.Finish();
  return is_all_well ? EXIT_OK : EXIT_FAILED;
}

void AddPolicy(CLI::App &command, ListsOptions &options) {
  command
      .add_option("--policy", options.policy,
                  fmt::format("The policy that names them (default: {})", options.policy))
      ->type_name("FILE");
}

void AddUpdate(CLI::App &lists, const std::shared_ptr<ListsOptions> &options, Action &action) {
  CLI::App &command = *lists.add_subcommand("update", "Fetch those that the policy has a URL for");
  AddPolicy(command, *options);
  command.add_flag("--due", options->only_due, "Only those that have expired, as they say");
  const auto proxy =
      command
          .add_option("--proxy", options->fetching.proxy,
                      "By way of this proxy (default: what http_proxy and https_proxy say)")
          ->type_name("URL");
  command.add_flag("--direct", options->fetching.is_direct, "By way of no proxy")->excludes(proxy);
  command.add_flag("--take-less", options->fetching.takes_less,
                   "Take a list that has less than half of the rules of the one before");
  command.footer(
      "A list that cannot be fetched, or looks like a mistake, leaves the one before in force; "
      "the\n"
      "exit code is 1 then. A running proxy takes new lists within a second.");
  command.callback([options, &action] { action = [options] { return Update(*options); }; });
}

}  // namespace

void AddLists(CLI::App &application, Action &action) {
  CLI::App &command =
      *application.add_subcommand("lists", "Show the ad lists and their age, or fetch new ones");
  const auto options = std::make_shared<ListsOptions>();
  AddPolicy(command, *options);
  command.require_subcommand(0, 1);
  AddUpdate(command, options, action);
  command.callback([options, &action, &command] {
    if (command.get_subcommands().empty()) action = [options] { return Show(*options); };
  });
}

}  // namespace velmora::command
