// velmora top: what the event log says, live or summed up.
#include <chrono>
#include <ctime>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "command/commands.h"
#include "command/event_totals.h"
#include "command/files.h"
#include "command/followed_file.h"
#include "command/messages.h"
#include "command/terminal.h"
#include "host/bodies/categories.h"
#include "host/bodies/transaction.h"
#include "host/policy/policy.h"

namespace velmora::command {
namespace {

using Lines = std::vector<std::string>;

constexpr auto REFRESH = std::chrono::seconds(1);
constexpr std::size_t MOST_SITES = 20;

struct TopOptions {
  std::filesystem::path file;
  bool is_summary = false;
};

/// The log's file as given, else as the installed policy names it.
std::filesystem::path LogFile(const TopOptions &options) {
  if (!options.file.empty()) return options.file;
  const std::filesystem::path file = host::DefaultPolicy();
  const host::Policy policy = host::ReadPolicy(file);
  if (!policy.event_log || policy.event_log->file.empty()) {
    throw std::runtime_error(file.string() + " names no file for the event log");
  }
  return policy.event_log->file;
}

/// Adds what has come; answers whether there may be more.
bool AddNew(FollowedFile &file, EventTotals &totals) {
  const Lines lines = file.NextLines();
  for (const std::string &line : lines) {
    if (const auto event = host::FromLine(line)) {
      totals.Add(*event);
    } else {
      totals.AddUnreadable();
    }
  }
  return !lines.empty();
}

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
  if (totals.Dropped() != 0) text += fmt::format(", {} missing", totals.Dropped());
  if (totals.Unreadable() != 0) text += fmt::format(", {} lines unreadable", totals.Unreadable());
  return text;
}

/// "name      count", the name cut to fit.
std::string Cell(const EventTotals::Count &count, std::size_t width) {
  constexpr std::size_t COUNT_WIDTH = 9;
  const std::size_t name_width = width - COUNT_WIDTH;
  const std::string name = Printable(count.first, name_width - 3).substr(0, name_width);
  return fmt::format("{:<{}}{:>{}}", name, name_width, count.second, COUNT_WIDTH);
}

std::string LatestLine(const host::Event &event) {
  std::string line = LocalTime(event.time, "%H:%M:%S ");
  if (event.kind == host::EventKind::BLOCKED) {
    line += fmt::format("{:<20} {}  {} {}", host::NameOfCategory(event.category),
                        host::HostOfUrl(event.url), event.item, event.detail);
  } else {
    line += fmt::format("{:<20} {}  {}", event.kind == host::EventKind::ERROR ? "error" : "stopped",
                        host::HostOfUrl(event.url), event.reason);
  }
  return line;
}

/// Categories and sites side by side, the latest items below.
Lines Screen(const std::filesystem::path &file, const EventTotals &totals, TerminalSize size) {
  const auto now = std::chrono::system_clock::now();
  Lines lines = {
      fmt::format("velmora top  {}  {}", file.string(), LocalTime(now, "%H:%M:%S")),
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
    lines.push_back(Printable(LatestLine(*event), size.columns - 3));
  }
  for (std::string &line : lines) {
    if (line.size() > size.columns) line = Printable(line, size.columns - 3);
  }
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
  AddTable(lines, "by category", totals.ByCategory(), std::size(CATEGORIES));
  AddTable(lines, "by site", totals.BySite(), MOST_SITES);
  AddTable(lines, "by client", totals.ByClient(), MOST_SITES);
  return lines;
}

void Print(const Lines &lines) {
  Output output({});
  for (const std::string &line : lines) output.Write(line + "\n");
  output.Finish();
}

int Top(const TopOptions &options) {
  const std::filesystem::path path = LogFile(options);
  FollowedFile file(path);
  EventTotals totals;
  while (AddNew(file, totals)) {
  }
  if (options.is_summary) {
    Print(Summary(totals));
  } else if (!Terminal::IsThere()) {
    Print(Screen(path, totals, {}));
  } else {
    Terminal terminal;
    do {
      while (AddNew(file, totals)) {
      }
      terminal.Show(Screen(path, totals, terminal.Size()));
    } while (!terminal.WaitForLeaving(REFRESH));
  }
  return EXIT_OK;
}

}  // namespace

void AddTop(CLI::App &application, Action &action) {
  CLI::App &command =
      *application.add_subcommand("top", "Show what is blocked, live, or a log's summary");
  const auto options = std::make_shared<TopOptions>();
  command
      .add_option("FILE", options->file,
                  fmt::format("The event log (default: the one that {} names)",
                              host::DefaultPolicy().string()))
      ->type_name("");
  command.add_flag("--summary", options->is_summary, "Sum the log up and end");
  command.footer(
      "Leave with \"q\". Where standard output is no terminal, the display is printed once.");
  command.callback([options, &action] { action = [options] { return Top(*options); }; });
}

}  // namespace velmora::command
