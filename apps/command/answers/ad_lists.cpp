#include "command/answers/ad_lists.h"

#include <chrono>
#include <filesystem>
#include <fmt/format.h>
#include <optional>

#include "command/answers/files.h"
#include "host/events/event.h"
#include "host/policy/fetched_lists.h"
#include "matcher/loader.h"
#include "matcher/sources.h"

namespace velmora::command {
namespace {

using Clock = std::chrono::system_clock;

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

Sheet OneList(const adblock::ListText &list, const adblock::ListCounts &counts) {
  const ListHead head = ReadListHead(list.text);
  Sheet sheet{head.title.empty() ? list.name : head.title};
  if (!head.title.empty()) sheet.Add("file", list.name);
  sheet.Add("from", ReadFetchRecord(list.name).url);
  sheet.Add("rules", CountsText(counts));
  sheet.Add("skipped", SkippedText(counts));
  sheet.Add("age", AgeText(list.name, head));
  return sheet;
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

}  // namespace

AdLists AdListsOf(const host::Policy &policy) {
  const adblock::Sources sources = adblock::ReadSources(ChoiceOf(policy.ads));
  const auto rules = adblock::LoadRules(sources.lists, adblock::CacheFolder()).rules;
  const auto &counted = rules->Compiled().lists;
  AdLists answer{.rules = rules->Compiled().rules.Count(), .problems = sources.problems};
  for (std::uint32_t at = 0; at < counted.Count(); ++at) {
    answer.lists.push_back(OneList(sources.lists[at], counted[at].counts));
  }
  for (const std::string &url : policy.list_urls) {
    if (!std::filesystem::exists(host::FetchedList(policy.state_folder, url))) {
      answer.not_fetched.push_back(url);
    }
  }
  return answer;
}

bool UpdateAdLists(const host::Policy &policy, const UpdateOptions &options,
                   const OnList &on_list) {
  const std::filesystem::path stamp = host::FetchedListsStamp(policy.state_folder);
  std::filesystem::create_directories(stamp.parent_path());
  bool is_any_new = false;
  bool is_all_well = true;
  for (const std::string &url : policy.list_urls) {
    const std::filesystem::path file = host::FetchedList(policy.state_folder, url);
    if (options.only_due && !IsDue(file)) {
      on_list(url, "not due yet");
      continue;
    }
    const FetchResult result = FetchList(url, file, options.fetching);
    is_any_new |= result.kind == FetchResult::Kind::NEW;
    is_all_well &= result.kind != FetchResult::Kind::REFUSED;
    on_list(url, ResultText(result));
  }
  if (is_any_new) {
    // Proxies look at it and take the lists.
    Output stamped(stamp);
    stamped.Write(host::TimeText(Clock::now()) + "\n");
    stamped.Finish();
  }
  return is_all_well;
}

}  // namespace velmora::command
