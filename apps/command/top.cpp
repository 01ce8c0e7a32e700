// velmora top: what the event log says, live or summed up.
#include <chrono>
#include <ctime>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "command/answers/event_filter.h"
#include "command/answers/event_source.h"
#include "command/answers/event_totals.h"
#include "command/answers/files.h"
#include "command/answers/followed_file.h"
#include "command/answers/messages.h"
#include "command/commands.h"
#include "command/terminal.h"
#include "host/bodies/categories.h"
#include "host/policy/policy.h"
#include "host/web/url.h"

namespace velmora::command {
namespace {

using Lines = std::vector<std::string>;

constexpr auto REFRESH = std::chrono::seconds(1);
constexpr std::size_t MOST_SITES = 20;

struct TopOptions {
  std::vector<std::string> files;
  bool is_summary = false;
  bool is_json = false;
  EventFilter filter{};
};

/// The logs as given, else the one that the installed policy names.
std::vector<std::string> LogFiles(const TopOptions &options) {
  if (!options.files.empty()) return options.files;
  const std::filesystem::path file = host::DefaultPolicy();
  const host::Policy policy = host::ReadPolicy(file);
  if (!policy.event_log || policy.event_log->file.empty()) {
    throw std::runtime_error(file.string() + " names no file for the event log");
  }
  return {policy.event_log->file.string()};
}

/// Logs, and what of them passes the filter, added up.
class Logs {
 public:
  Logs(const std::vector<std::string> &names, const EventFilter &filter) : filter_(filter) {
    for (const std::string &name : names) {
      title_ += (title_.empty() ? "" : " ") + name;
      if (IsFinishedLog(name)) {
        ReadFinishedLog(name, [this](std::string_view line) { Add(line); });
      } else {
        followed_.push_back(std::make_unique<FollowedFile>(name));
      }
    }
    ReadNew();
  }

  /// Adds what has come since the last time.
  void ReadNew() {
    std::vector<std::string> lines;
    for (const auto &file : followed_) {
      for (bool is_more = true; is_more; lines.clear()) {
        is_more = file->Read(lines);
        for (const std::string &line : lines) Add(line);
      }
    }
  }

  const EventTotals &Totals() const noexcept { return totals_; }
  /// The names of them all.
  const std::string &Title() const noexcept { return title_; }

 private:
  void Add(std::string_view line) {
    const auto event = host::FromLine(line);
    if (!event) return totals_.AddUnreadable();
    if (filter_.Passes(*event)) totals_.Add(*event);
  }

  const EventFilter &filter_;
  std::string title_;
  std::vector<std::unique_ptr<FollowedFile>> followed_;
  EventTotals totals_;
};

std::string LocalTime(EventTotals::Time time, const char *format) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[64];
  return std::string(text, std::strftime(text, sizeof text, format, &local));
}

std::string Counts(const EventTotals &totals) {
  std::string text = fmt::format("{} blocked, {} stopped, {} errors", totals.Blocked(),
                                 totals.Stopped(), totals.Errors());
  if (totals.Guarded() != 0) text += fmt::format(", {} scripts put in", totals.Guarded());
  if (totals.NotMade() != 0) text += fmt::format(", {} requests never made", totals.NotMade());
  if (totals.BytesSaved() != 0) text += fmt::format(", {} bytes saved", totals.BytesSaved());
  if (totals.Dropped() != 0) text += fmt::format(", {} missing", totals.Dropped());
  if (totals.Unreadable() != 0) text += fmt::format(", {} lines unreadable", totals.Unreadable());
  return text;
}

/// "name      count", the name cut to fit.
std::string Cell(const EventTotals::Count &count, std::size_t width) {
  constexpr std::size_t COUNT_WIDTH = 9;
  const std::size_t name_width = width - COUNT_WIDTH;
  const std::string name = Fitting(count.first, name_width);
  return fmt::format("{:<{}}{:>{}}", name, name_width, count.second, COUNT_WIDTH);
}

std::string LatestLine(const host::Event &event) {
  std::string line = LocalTime(event.time, "%H:%M:%S ");
  if (event.kind == host::EventKind::BLOCKED) {
    line += fmt::format("{:<20} {}  {} {}", host::NameOfCategory(event.category),
                        host::HostOfUrl(event.url), event.type.empty() ? event.item : event.type,
                        event.detail);
  } else {
    line += fmt::format("{:<20} {}  {}", event.kind == host::EventKind::ERROR ? "error" : "stopped",
                        host::HostOfUrl(event.url), event.reason);
  }
  return line;
}

/// Categories and sites side by side, the latest items below.
Lines Screen(const Logs &logs, TerminalSize size) {
  const EventTotals &totals = logs.Totals();
  const auto now = std::chrono::system_clock::now();
  Lines lines = {
      fmt::format("velmora top  {}  {}", Printable(logs.Title(), size.columns - 26),
                  LocalTime(now, "%H:%M:%S")),
      fmt::format("{}; {:.1f}/s in 10 s, {:.1f}/s in 50 s", Counts(totals), totals.Rate(now, 10),
                  totals.Rate(now, 50)),
      "",
  };
  const auto categories = totals.ByCategory();
  const auto sites = totals.BySite();
  const std::size_t width = std::max<std::size_t>(size.columns, 40) / 2 - 1;
  const std::size_t fixed = lines.size() + 4;
  const std::size_t room = size.lines > fixed ? size.lines - fixed : 1;
  const std::size_t rows = std::min(std::max(categories.size(), sites.size()), room / 2 + 1);
  lines.push_back(fmt::format("{:<{}}{}", "by category", width + 2, "by site"));
  for (std::size_t i = 0; i < rows; ++i) {
    lines.push_back(fmt::format("{:<{}}  {}",
                                i < categories.size() ? Cell(categories[i], width) : "", width,
                                i < sites.size() ? Cell(sites[i], width) : ""));
  }
  lines.insert(lines.end(), {"", "latest"});
  const auto &latest = totals.Latest();
  for (auto event = latest.rbegin(); event != latest.rend() && lines.size() < size.lines; ++event) {
    lines.push_back(LatestLine(*event));
  }
  for (std::string &line : lines) line = Fitting(line, size.columns);
  return lines;
}

void AddTable(Lines &lines, std::string_view title, const std::vector<EventTotals::Count> &counts,
              std::size_t most) {
  lines.insert(lines.end(), {"", std::string(title)});
  for (std::size_t i = 0; i < std::min(counts.size(), most); ++i) {
    lines.push_back("  " + Cell(counts[i], 58));
  }
  if (counts.size() > most) lines.push_back(fmt::format("  ... {} more", counts.size() - most));
}

Lines Summary(const EventTotals &totals) {
  Lines lines;
  if (const auto period = totals.Period()) {
    lines.push_back(fmt::format("{} to {}", LocalTime(period->first, "%F %T"),
                                LocalTime(period->second, "%F %T")));
  }
  lines.push_back(Counts(totals));
  AddTable(lines, "by category", totals.ByCategory(), std::size(host::CATEGORY_TABLE));
  AddTable(lines, "by site", totals.BySite(), MOST_SITES);
  AddTable(lines, "by client", totals.ByClient(), MOST_SITES);
  return lines;
}

nlohmann::ordered_json Json(const std::vector<EventTotals::Count> &counts) {
  auto object = nlohmann::ordered_json::object();
  for (const auto &[name, count] : counts) object[name] = count;
  return object;
}

/// The summary as an object, with every site and client.
std::string JsonSummary(const EventTotals &totals) {
  nlohmann::ordered_json object;
  if (const auto period = totals.Period()) {
    object["from"] = host::TimeText(period->first);
    object["to"] = host::TimeText(period->second);
  }
  object["blocked"] = totals.Blocked();
  object["not made"] = totals.NotMade();
  object["bytes saved"] = totals.BytesSaved();
  object["guarded"] = totals.Guarded();
  object["stopped"] = totals.Stopped();
  object["errors"] = totals.Errors();
  object["missing"] = totals.Dropped();
  object["unreadable"] = totals.Unreadable();
  object["categories"] = Json(totals.ByCategory());
  object["sites"] = Json(totals.BySite());
  object["clients"] = Json(totals.ByClient());
  return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void Print(const Lines &lines) {
  Output output({});
  for (const std::string &line : lines) output.Write(line + "\n");
  output.Finish();
}

int Top(const TopOptions &options) {
  Logs logs(LogFiles(options), options.filter);
  if (options.is_json) {
    Print({JsonSummary(logs.Totals())});
  } else if (options.is_summary) {
    Print(Summary(logs.Totals()));
  } else if (!Terminal::IsThere()) {
    Print(Screen(logs, {}));
  } else {
    Terminal terminal;
    do {
      logs.ReadNew();
      terminal.Show(Screen(logs, terminal.Size()));
    } while (!terminal.WaitForLeaving(REFRESH));
  }
  return EXIT_OK;
}

/// An option whose text is taken in by a function that throws `std::invalid_argument`.
template <class Function>
void AddOption(CLI::App &command, const std::string &name, const std::string &type,
               const std::string &help, Function take) {
  command
      .add_option_function<std::string>(
          name,
          [name, take](const std::string &text) {
            try {
              take(text);
            } catch (const std::invalid_argument &error) {
              throw CLI::ValidationError(name, error.what());
            }
          },
          help)
      ->type_name(type);
}

void AddFilterOptions(CLI::App &command, EventFilter &filter) {
  AddOption(
      command, "--client", "NETWORK", "Only what came to this IP address or network",
      [&filter](const std::string &text) { filter.clients = {host::ClientNetwork::Parse(text)}; });
  AddOption(command, "--site", "HOST", "Only what came from this host or its sub-domains",
            [&filter](const std::string &text) { filter.sites.Add(text); });
  AddOption(
      command, "--category", "LIST", "Only blocked items of these categories",
      [&filter](const std::string &text) { filter.categories = host::CategorySet::Parse(text); });
  const auto now = std::chrono::system_clock::now();
  AddOption(command, "--since", "TIME",
            "Only from then on: 2026-03-01, \"2026-03-01 12:34\", or 24h for the last day",
            [&filter, now](const std::string &text) { filter.since = ParseMoment(text, now); });
  AddOption(command, "--until", "TIME", "Only before then",
            [&filter, now](const std::string &text) { filter.until = ParseMoment(text, now); });
}

}  // namespace

void AddTop(CLI::App &application, Action &action) {
  CLI::App &command =
      *application.add_subcommand("top", "Show what is blocked, live, or a log's summary");
  const auto options = std::make_shared<TopOptions>();
  command
      .add_option("FILE", options->files,
                  fmt::format("Event logs, compressed with gzip or not, or \"-\" for standard "
                              "input (default: the one that {} names)",
                              host::DefaultPolicy().string()))
      ->type_name("");
  command.add_flag("--summary", options->is_summary, "Sum the logs up and end");
  command.add_flag("--json", options->is_json, "The summary as a JSON object");
  AddFilterOptions(command, options->filter);
  command.footer(
      "Leave with \"q\". Where standard output is no terminal, the display is printed once.");
  command.callback([options, &action] { action = [options] { return Top(*options); }; });
}

}  // namespace velmora::command
