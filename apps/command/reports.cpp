// velmora report: what was blocked in a week, by whom and where, from the store beside the event
// log.
#include <chrono>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "command/activity_report.h"
#include "command/answers/asked_log.h"
#include "command/answers/event_filter.h"
#include "command/answers/files.h"
#include "command/answers/messages.h"
#include "command/commands.h"
#include "host/policy/policy.h"
#include "store/event_store.h"
#include "store/feeding.h"

namespace velmora::command {
namespace {

using Clock = std::chrono::system_clock;
using std::chrono::hours;
using store::Dimension;

constexpr std::size_t MOST_ROWS = 20;

struct ReportOptions {
  std::string policy = host::DefaultPolicy();
  std::string log;
  std::string store;
  std::string output;
  hours span = std::chrono::days(7);
  std::string from;
  std::string until;
  std::vector<std::string> by;
  std::vector<std::string> clients;
  std::vector<std::string> without;
  std::vector<std::string> sites;
  std::size_t most = MOST_ROWS;
  std::string (*format)(const ActivityReport &) = AsText;
  bool is_rebuilt = false;
};

host::EventLogOptions LogOf(const ReportOptions &options) {
  host::EventLogOptions log = AskedLog(options.policy, options.log);
  if (!options.store.empty()) log.store = options.store;
  return log;
}

void SayWhatHappened(const store::FedLog &fed) {
  if (!fed.made_anew.empty()) {
    PrintMessage("the store was of no use and is made anew from the log: " + fed.made_anew);
  }
  for (const std::string &trouble : fed.troubles) PrintMessage("not read: " + trouble);
  if (fed.is_busy)
    PrintMessage("the store is being fed by another process: it may lack the latest");
}

/// Brings the store up to date. Who may only read it sees it as it is.
void BringUpToDate(const host::EventLogOptions &log, bool is_rebuilt) {
  if (is_rebuilt) return SayWhatHappened(store::Rebuild(log));
  try {
    SayWhatHappened(store::Feed(log));
  } catch (const std::runtime_error &error) {
    if (!std::filesystem::exists(store::StoreOf(log))) throw;
    PrintMessage(std::string("the report may lack the latest: ") + error.what());
  }
}

store::Filter FilterOf(const ReportOptions &options) {
  const auto now = Clock::now();
  store::Filter filter;
  try {
    filter.until = options.until.empty() ? now : ParseMoment(options.until, now);
    filter.from =
        options.from.empty() ? *filter.until - options.span : ParseMoment(options.from, now);
    for (const std::string &text : options.clients) {
      filter.clients.push_back(host::ClientNetwork::Parse(text));
    }
    for (const std::string &text : options.without) {
      filter.without_clients.push_back(host::ClientNetwork::Parse(text));
    }
    for (const std::string &text : options.sites) filter.sites.Add(text);
  } catch (const std::invalid_argument &error) {
    throw UsageError(error.what());
  }
  if (*filter.from >= *filter.until) throw UsageError("the report ends before it begins");
  return filter;
}

std::vector<Dimension> DimensionsOf(const ReportOptions &options) {
  if (options.by.empty()) {
    return {Dimension::CATEGORY, Dimension::SITE, Dimension::CLIENT, Dimension::RULE};
  }
  std::vector<Dimension> dimensions;
  for (const std::string &name : options.by) {
    for (const Dimension by : {Dimension::CLIENT, Dimension::SITE, Dimension::CATEGORY,
                               Dimension::RULE, Dimension::HOUR}) {
      if (name == NameOf(by)) dimensions.push_back(by);
    }
  }
  return dimensions;
}

ActivityReport Ask(const ReportOptions &options, const store::Filter &filter,
                   const std::filesystem::path &store) {
  const store::EventStore events(store);
  ActivityReport report{.from = store::BeginningOfHour(*filter.from),
                        .until = *filter.until,
                        .total = events.Total(filter),
                        .hours = events.Sums(Dimension::HOUR, filter)};
  for (const Dimension by : DimensionsOf(options)) {
    const std::size_t most = by == Dimension::HOUR ? 0 : options.most;
    report.sections.push_back({by, events.Sums(by, filter, most)});
  }
  return report;
}

/// Damage that only a question comes upon has the store made anew as what feeding comes upon does.
ActivityReport AskOrRebuild(const ReportOptions &options) {
  const store::Filter filter = FilterOf(options);
  const host::EventLogOptions log = LogOf(options);
  BringUpToDate(log, options.is_rebuilt);
  try {
    return Ask(options, filter, store::StoreOf(log));
  } catch (const store::DamagedStore &damage) {
    store::FedLog fed = store::Rebuild(log);
    fed.made_anew = damage.what();
    SayWhatHappened(fed);
    return Ask(options, filter, store::StoreOf(log));
  }
}

int Report(const ReportOptions &options) {
  const ActivityReport report = AskOrRebuild(options);
  Output output(options.output);
  output.Write(options.format(report));
  output.Finish();
  return EXIT_OK;
}

void AddSpans(CLI::App &command, ReportOptions &options) {
  const std::pair<const char *, int> spans[] = {{"day", 1}, {"week", 7}, {"month", 30}};
  for (const auto &[name, days] : spans) {
    command.add_flag_callback(
        std::string("--") + name,
        [&options, days = days] { options.span = std::chrono::days(days); },
        fmt::format("The last {}{}", days == 1 ? "24 hours" : fmt::format("{} days", days),
                    days == 7 ? " (the default)" : ""));
  }
  command
      .add_option("--from", options.from,
                  "From then on: 2026-03-01, \"2026-03-01 12:34\", or 36h for so long ago")
      ->type_name("TIME");
  command.add_option("--to", options.until, "Until then (default: now)")->type_name("TIME");
}

void AddFormats(CLI::App &command, ReportOptions &options) {
  const std::pair<const char *, std::string (*)(const ActivityReport &)> formats[] = {
      {"html", AsHtml}, {"csv", AsCsv}, {"json", AsJson}};
  for (const auto &[name, format] : formats) {
    command.add_flag_callback(
        std::string("--") + name, [&options, format = format] { options.format = format; },
        fmt::format("As {}, not as plain text", format == AsHtml  ? "a page"
                                                : format == AsCsv ? "tables of commas"
                                                                  : "an object"));
  }
}

}  // namespace

void AddReport(CLI::App &application, Action &action) {
  CLI::App &command =
      *application.add_subcommand("report", "Sum up what was blocked in a day, a week, a month");
  const auto options = std::make_shared<ReportOptions>();
  AddSpans(command, *options);
  command.add_option("--by", options->by, "client, site, category, rule or hour (repeatable)")
      ->type_name("WHAT")
      ->allow_extra_args(false)
      ->check(CLI::IsMember({"client", "site", "category", "rule", "hour"}));
  command
      .add_option("--client", options->clients, "Only of this IP address or network (repeatable)")
      ->type_name("NETWORK")
      ->allow_extra_args(false);
  command
      .add_option("--without", options->without, "Not of this IP address or network (repeatable)")
      ->type_name("NETWORK")
      ->allow_extra_args(false);
  command
      .add_option("--site", options->sites, "Only on this host and its sub-domains (repeatable)")
      ->type_name("HOST")
      ->allow_extra_args(false);
  command.add_option("--most", options->most, "Rows of a table; 0: all")
      ->type_name("NUMBER")
      ->capture_default_str();
  AddFormats(command, *options);
  command.add_option("-o,--output", options->output, "A file, not standard output")
      ->type_name("FILE");
  command
      .add_option("--policy", options->policy,
                  fmt::format("The policy that names the log (default: {})", options->policy))
      ->type_name("FILE");
  command.add_option("--log", options->log, "Another event log")->type_name("FILE");
  command.add_option("--store", options->store, "Another store than the one beside the log")
      ->type_name("FILE");
  command.add_flag("--rebuild", options->is_rebuilt, "Make the store anew from the log first");
  command.footer("Sums are by whole hours. Exit code: 0, 1 something went wrong, 2 wrong usage.");
  command.callback([options, &action] {
    action = [options] {
      try {
        return Report(*options);
      } catch (const UsageError &error) {
        PrintMessage(error.what());
        return EXIT_USAGE;
      }
    };
  });
}

}  // namespace velmora::command
