#include "command/answers/health.h"

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
#include <system_error>

#include "command/answers/event_filter.h"
#include "command/answers/event_totals.h"
#include "command/answers/list_fetching.h"
#include "host/events/event.h"
#include "host/policy/fetched_lists.h"
#include "host/policy/policy.h"

namespace velmora::command {
namespace {

using Clock = std::chrono::system_clock;

constexpr std::string_view STATE_NAMES[] = {"OK", "UNKNOWN", "WARNING", "CRITICAL"};

/// Of a longer log its end is looked at: a question that is asked each minute has to be cheap.
constexpr std::streamoff MOST_OF_LOG = 16 << 20;
/// What was not fetched for so long is old, whatever the list says: a list that nobody fetches.
constexpr std::chrono::hours OLD_LIST = std::chrono::days(7);

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

void CheckLog(const std::filesystem::path &file, const std::string &span, Findings &findings) {
  if (file.empty()) return;
  if (!std::filesystem::exists(file)) {
    // Until something is blocked there need be none.
    return findings.Add(HealthState::OK, "no event log yet");
  }
  const EventTotals totals = Since(Clock::now() - *ParseSpan(span), file);
  if (totals.Errors() != 0) {
    findings.Add(HealthState::WARNING,
                 fmt::format("{} error{} in {}{}", totals.Errors(), totals.Errors() == 1 ? "" : "s",
                             span, LastReason(totals)));
  }
  if (totals.Dropped() != 0) {
    findings.Add(HealthState::WARNING, fmt::format("{} events lost in {}", totals.Dropped(), span));
  }
  findings.Add(HealthState::OK, fmt::format("{} blocked in {}", totals.Blocked(), span));
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
      findings.Add(HealthState::WARNING, "never fetched: " + url);
      continue;
    }
    const auto age = std::chrono::floor<std::chrono::seconds>(Clock::now() - *checked);
    oldest = std::max(oldest, age);
    if (age > OLD_LIST) {
      findings.Add(HealthState::WARNING,
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
    return findings.Add(HealthState::CRITICAL,
                        fmt::format("{} does not answer: {}", proxy, curl_easy_strerror(code)));
  }
  double seconds = 0;
  curl_easy_getinfo(request.get(), CURLINFO_TOTAL_TIME, &seconds);
  findings.Add(HealthState::OK, fmt::format("{} answers", proxy));
  findings.Measure("answer", fmt::format("{:.3f}s", seconds));
}

}  // namespace

std::string_view NameOf(HealthState state) noexcept {
  return STATE_NAMES[static_cast<std::size_t>(state)];
}

void Findings::Add(HealthState finding, std::string text) {
  state = std::max(state, finding);
  found.emplace_back(finding, std::move(text));
}

Findings CheckHealth(const HealthQuestion &question) {
  Findings findings;
  try {
    CheckProxy(question.proxy, findings);
    const host::Policy policy = host::ReadPolicy(question.policy);
    const bool has_own = question.log.empty() && policy.event_log;
    CheckLog(has_own ? policy.event_log->file : question.log, question.span, findings);
    CheckLists(policy, findings);
  } catch (const host::PolicyError &error) {
    // A proxy that runs goes on with the one before, one that starts does not.
    const std::string text = error.what();
    findings.Add(HealthState::CRITICAL, "the policy: " + text.substr(0, text.find('\n')));
  } catch (const std::exception &error) {
    findings.Add(HealthState::UNKNOWN, error.what());
  }
  return findings;
}

}  // namespace velmora::command
