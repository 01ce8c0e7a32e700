// velmora health: is all well with a proxy that filters? The exit code and the line are those of a
// plug-in for Nagios and what came after it: 0 yes, 1 with something to look at, 2 no, 3 not to be
// told.
//
//   VELMORA WARNING: 2 errors in 15min, the last: no memory; 812 blocked in 15min|blocked=812
//   stopped=0 errors=2 missing=0 list_age=7200s
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <curl/curl.h>
#include <exception>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "command/commands.h"
#include "command/event_filter.h"
#include "command/event_totals.h"
#include "command/files.h"
#include "command/list_fetching.h"
#include "command/messages.h"
#include "host/events/event.h"
#include "host/policy/fetched_lists.h"
#include "host/policy/policy.h"

namespace velmora::command {
namespace {

using Clock = std::chrono::system_clock;

/// Worse ones are greater.
enum class State { OK, UNKNOWN, WARNING, CRITICAL };
constexpr const char *STATE_NAMES[] = {"OK", "UNKNOWN", "WARNING", "CRITICAL"};
constexpr int STATE_CODES[] = {0, 3, 1, 2};

/// Of a longer log its end is looked at: a question that is asked each minute has to be cheap.
constexpr std::streamoff MOST_OF_LOG = 16 << 20;
/// What was not fetched for so long is old, whatever the list says: a list that nobody fetches.
constexpr std::chrono::hours OLD_LIST = std::chrono::days(7);

struct HealthOptions {
  std::string policy = host::DefaultPolicy();
  std::string proxy;
  std::string span = "15min";
};

/// What was found, one after the other.
class Findings {
 public:
  void Add(State state, std::string text) {
    if (state > state_) {
      state_ = state;
      texts_.insert(texts_.begin(), std::move(text));
    } else {
      texts_.push_back(std::move(text));
    }
  }
  void Measure(std::string_view name, std::string_view value) {
    measures_ += fmt::format("{}{}={}", measures_.empty() ? "" : " ", name, value);
  }

  int ExitCode() const { return STATE_CODES[static_cast<std::size_t>(state_)]; }
  /// The worst first; "|" begins the measures.
  std::string Line() const {
    std::string text = fmt::format("VELMORA {}: {}", STATE_NAMES[static_cast<std::size_t>(state_)],
                                   fmt::join(texts_, "; "));
    std::ranges::replace(text, '|', ' ');
    return Printable(text, 1000) + (measures_.empty() ? "" : "|" + measures_) + "\n";
  }

 private:
  State state_ = State::OK;
  std::vector<std::string> texts_;
  std::string measures_;
};

/// Events since a moment, as far as the end of the log goes back.
EventTotals Since(Clock::time_point since, const std::filesystem::path &file) {
  std::ifstream log(file, std::ios::binary);
  if (!log) throw std::system_error(errno, std::generic_category(), file.string());
  log.seekg(0, std::ios::end);
  const std::streamoff begin =
      std::max<std::streamoff>(std::streamoff{log.tellg()} - MOST_OF_LOG, 0);
  log.seekg(begin);
  std::string line;
  if (begin != 0) std::getline(log, line);  // the rest of one
  const EventFilter filter{.since = since};
  EventTotals totals;
  while (std::getline(log, line)) {
    if (const auto event = host::FromLine(line)) {
      if (filter.Passes(*event)) totals.Add(*event);
    }
  }
  return totals;
}

/// Why the newest error, where it is among the latest events.
std::string LastReason(const EventTotals &totals) {
  const auto &latest = totals.Latest();
  const auto last = std::find_if(latest.rbegin(), latest.rend(), [](const host::Event &event) {
    return event.kind == host::EventKind::ERROR;
  });
  return last == latest.rend() ? "" : ", the last: " + last->reason;
}

void CheckLog(const host::Policy &policy, const std::string &span, Findings &findings) {
  if (!policy.event_log || policy.event_log->file.empty()) return;
  const std::filesystem::path &file = policy.event_log->file;
  if (!std::filesystem::exists(file)) {
    // Until something is blocked there need be none.
    return findings.Add(State::OK, "no event log yet");
  }
  const EventTotals totals = Since(Clock::now() - *ParseSpan(span), file);
  if (totals.Errors() != 0) {
    findings.Add(State::WARNING,
                 fmt::format("{} error{} in {}{}", totals.Errors(), totals.Errors() == 1 ? "" : "s",
                             span, LastReason(totals)));
  }
  if (totals.Dropped() != 0) {
    findings.Add(State::WARNING, fmt::format("{} events lost in {}", totals.Dropped(), span));
  }
  findings.Add(State::OK, fmt::format("{} blocked in {}", totals.Blocked(), span));
  findings.Measure("blocked", std::to_string(totals.Blocked()));
  findings.Measure("stopped", std::to_string(totals.Stopped()));
  findings.Measure("errors", std::to_string(totals.Errors()));
  findings.Measure("missing", std::to_string(totals.Dropped()));
}

void CheckLists(const host::Policy &policy, Findings &findings) {
  std::chrono::seconds oldest{};
  for (const std::string &url : policy.list_urls) {
    const auto checked = ReadFetchRecord(host::FetchedList(policy.state_folder, url)).checked;
    if (!checked) {
      findings.Add(State::WARNING, "never fetched: " + url);
      continue;
    }
    const auto age = std::chrono::floor<std::chrono::seconds>(Clock::now() - *checked);
    oldest = std::max(oldest, age);
    if (age > OLD_LIST) {
      findings.Add(State::WARNING,
                   fmt::format("last fetched {} days ago: {}", age / std::chrono::days(1), url));
    }
  }
  if (!policy.list_urls.empty()) findings.Measure("list_age", fmt::format("{}s", oldest.count()));
}

/// Whatever it answers, it answers: a name that cannot be is asked for, which costs nobody else
/// anything.
void CheckProxy(const std::string &proxy, Findings &findings) {
  if (proxy.empty()) return;
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> request(curl_easy_init(),
                                                                    curl_easy_cleanup);
  if (!request) throw std::bad_alloc();
  curl_easy_setopt(request.get(), CURLOPT_URL, "http://127.0.0.1:9/");
  curl_easy_setopt(request.get(), CURLOPT_PROXY, proxy.c_str());
  curl_easy_setopt(request.get(), CURLOPT_NOPROXY, "");
  curl_easy_setopt(request.get(), CURLOPT_NOBODY, 1L);
  curl_easy_setopt(request.get(), CURLOPT_TIMEOUT_MS, 8000L);
  curl_easy_setopt(request.get(), CURLOPT_NOSIGNAL, 1L);
  const CURLcode code = curl_easy_perform(request.get());
  if (code != CURLE_OK) {
    return findings.Add(State::CRITICAL,
                        fmt::format("{} does not answer: {}", proxy, curl_easy_strerror(code)));
  }
  double seconds = 0;
  curl_easy_getinfo(request.get(), CURLINFO_TOTAL_TIME, &seconds);
  findings.Add(State::OK, fmt::format("{} answers", proxy));
  findings.Measure("answer", fmt::format("{:.3f}s", seconds));
}

int Health(const HealthOptions &options) {
  Findings findings;
  try {
    CheckProxy(options.proxy, findings);
    const host::Policy policy = host::ReadPolicy(options.policy);
    CheckLog(policy, options.span, findings);
    CheckLists(policy, findings);
  } catch (const host::PolicyError &error) {
    // A proxy that runs goes on with the one before, one that starts does not.
    const std::string text = error.what();
    findings.Add(State::CRITICAL, "the policy: " + text.substr(0, text.find('\n')));
  } catch (const std::exception &error) {
    findings.Add(State::UNKNOWN, error.what());
  }
  Output output({});
  output.Write(findings.Line());
  output.Finish();
  return findings.ExitCode();
}

std::string CheckSpan(const std::string &text) {
  return ParseSpan(text) ? "" : "\"" + text + "\" is no span of time, such as 15min or 24h";
}

}  // namespace

void AddHealth(CLI::App &application, Action &action) {
  const auto options = std::make_shared<HealthOptions>();
  CLI::App &command = *application.add_subcommand("health", "Tell a monitor whether all is well");
  command.add_option("--policy", options->policy, "The policy's file")
      ->type_name("FILE")
      ->capture_default_str();
  command
      .add_option("--proxy", options->proxy, "A proxy that has to answer, such as 127.0.0.1:3128")
      ->type_name("HOST:PORT");
  command.add_option("--within", options->span, "How far back the event log is looked at")
      ->type_name("SPAN")
      ->check(CheckSpan)
      ->capture_default_str();
  command.footer(
      "The exit code is that of plug-ins for Nagios: 0 all is well, 1 something to look at, 2 it "
      "is not,\n"
      "3 that cannot be told.");
  command.callback([options, &action] { action = [options] { return Health(*options); }; });
}

}  // namespace velmora::command
