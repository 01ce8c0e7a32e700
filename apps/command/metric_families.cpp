#include "command/metric_families.h"

#include <chrono>
#include <string>
#include <string_view>
#include <utility>

#include "command/answers/list_fetching.h"
#include "host/bodies/categories.h"
#include "host/limits/limits.h"
#include "host/policy/fetched_lists.h"

namespace velmora::command {
namespace {

using host::WorkerCounters;
using host::WorkerReport;
using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Labels = std::vector<ClientMetric::Label>;

/// One number of a worker, and what it adds to the labels.
struct Number {
  const char *family;
  const char *help;
  MetricType type;
  const char *label;
  const char *value;
  double (*get)(const WorkerReport &report);
};

constexpr char REQUESTS[] = "Requests that were judged, and those of them that were blocked.";
constexpr char RESPONSES[] = "Responses, and what became of them.";
constexpr char BODY_BYTES[] =
    "Bytes of bodies that went into the filter, as they came, and that came out of it.";

template <auto MEMBER>
double Counted(const WorkerReport &report) {
  return static_cast<double>(report.counters.*MEMBER);
}
template <auto MEMBER>
double Told(const WorkerReport &report) {
  return static_cast<double>(report.*MEMBER);
}

double BlockedRequests(const WorkerReport &report) {
  for (std::size_t i = 0; i < std::size(host::CATEGORY_TABLE); ++i) {
    if (host::CATEGORY_TABLE[i].code == host::CATEGORY_REQUESTS) {
      return static_cast<double>(report.counters.blocked[i]);
    }
  }
  return 0;
}

double Saved(const WorkerReport &report) {
  return static_cast<double>(static_cast<std::int64_t>(report.counters.saved));
}

// Rows of one family stand together.
constexpr Number NUMBERS[] = {
    {"velmora_requests_total", REQUESTS, MetricType::Counter, "outcome", "judged",
     Counted<&WorkerCounters::requests>},
    {"velmora_requests_total", REQUESTS, MetricType::Counter, "outcome", "blocked",
     BlockedRequests},
    {"velmora_responses_total", RESPONSES, MetricType::Counter, "outcome", "any",
     Counted<&WorkerCounters::responses>},
    {"velmora_responses_total", RESPONSES, MetricType::Counter, "outcome", "filtered",
     Counted<&WorkerCounters::filtered>},
    {"velmora_responses_total", RESPONSES, MetricType::Counter, "outcome", "refused",
     Counted<&WorkerCounters::refused>},
    {"velmora_responses_total", RESPONSES, MetricType::Counter, "outcome", "broken_off",
     Counted<&WorkerCounters::broken_off>},
    {"velmora_body_bytes_total", BODY_BYTES, MetricType::Counter, "direction", "in",
     Counted<&WorkerCounters::bytes_in>},
    {"velmora_body_bytes_total", BODY_BYTES, MetricType::Counter, "direction", "out",
     Counted<&WorkerCounters::bytes_out>},
    {"velmora_saved_bytes",
     "By how much bodies from which something was taken got shorter, content codings taken off.",
     MetricType::Gauge, nullptr, nullptr, Saved},
    {"velmora_held_bytes",
     "Bytes of bodies that are held back, and what the plug-in takes for them.", MetricType::Gauge,
     nullptr, nullptr, Told<&WorkerReport::held>},
    {"velmora_event_queue_bytes", "Memory of events that wait to be written.", MetricType::Gauge,
     nullptr, nullptr, Told<&WorkerReport::queued>},
    {"velmora_events_lost_total", "Events that are missing from the log.", MetricType::Counter,
     nullptr, nullptr, Told<&WorkerReport::lost>},
};

Labels LabelsOf(const WorkerReports::Workers::value_type &worker) {
  return {{"member", worker.first.first}, {"worker", std::to_string(worker.first.second)}};
}

ClientMetric Metric(MetricType type, Labels labels, double value) {
  ClientMetric metric;
  metric.label = std::move(labels);
  (type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
  return metric;
}

void AddNumbers(std::vector<MetricFamily> &families, const WorkerReports::Workers &workers) {
  for (const Number &number : NUMBERS) {
    if (families.empty() || families.back().name != number.family) {
      families.push_back({number.family, number.help, number.type, {}});
    }
    for (const auto &worker : workers) {
      Labels labels = LabelsOf(worker);
      if (number.label != nullptr) labels.push_back({number.label, number.value});
      families.back().metric.push_back(
          Metric(number.type, std::move(labels), number.get(*worker.second.report)));
    }
  }
}

/// A counter for each number of an array, told apart by a label.
template <class Array, class Name>
MetricFamily EachOf(Array WorkerCounters::*numbers, std::string name, std::string help,
                    const char *label, Name value, const WorkerReports::Workers &workers) {
  MetricFamily family{std::move(name), std::move(help), MetricType::Counter, {}};
  for (const auto &worker : workers) {
    const Array &counted = worker.second.report->counters.*numbers;
    for (std::size_t i = 0; i < counted.size(); ++i) {
      Labels labels = LabelsOf(worker);
      labels.push_back({label, std::string(value(i))});
      family.metric.push_back(
          Metric(family.type, std::move(labels), static_cast<double>(counted[i])));
    }
  }
  return family;
}

MetricFamily Blocked(const WorkerReports::Workers &workers) {
  return EachOf(
      &WorkerCounters::blocked, "velmora_blocked_total",
      "Items that were blocked, requests among them.", "category",
      [](std::size_t i) { return host::CATEGORY_TABLE[i].name; }, workers);
}

MetricFamily Stopped(const WorkerReports::Workers &workers) {
  return EachOf(
      &WorkerCounters::stopped, "velmora_stopped_total",
      "Bodies whose filtering or decoding was given up before their end.", "reason",
      [](std::size_t i) { return host::Describe(static_cast<host::StopReason>(i)); }, workers);
}

MetricFamily FilterTimes(const WorkerReports::Workers &workers) {
  MetricFamily family{"velmora_filter_seconds",
                      "Processor time that a body took of the filter.",
                      MetricType::Histogram,
                      {}};
  for (const auto &worker : workers) {
    const WorkerCounters &counters = worker.second.report->counters;
    ClientMetric metric;
    metric.label = LabelsOf(worker);
    std::uint64_t count = 0;
    for (std::size_t i = 0; i < counters.filter_times.size(); ++i) {
      count += counters.filter_times[i];
      if (i < std::size(WorkerCounters::FILTER_TIMES)) {
        metric.histogram.bucket.push_back({count, WorkerCounters::FILTER_TIMES[i]});
      }
    }
    metric.histogram.sample_count = count;
    metric.histogram.sample_sum = static_cast<double>(counters.filter_nanoseconds) / 1e9;
    family.metric.push_back(std::move(metric));
  }
  return family;
}

double Seconds(std::chrono::system_clock::time_point time) {
  return std::chrono::duration<double>(time.time_since_epoch()).count();
}

MetricFamily Reported(const WorkerReports::Workers &workers) {
  MetricFamily family{"velmora_worker_reported_timestamp_seconds",
                      "When a worker last told of itself: each half minute while it has work.",
                      MetricType::Gauge,
                      {}};
  for (const auto &worker : workers) {
    family.metric.push_back(Metric(family.type, LabelsOf(worker), Seconds(worker.second.time)));
  }
  return family;
}

MetricFamily Lists(const host::Policy *policy) {
  MetricFamily family{"velmora_list_fetched_timestamp_seconds",
                      "When an ad list was last fetched, or found to be the newest; 0: never.",
                      MetricType::Gauge,
                      {}};
  if (policy == nullptr) return family;
  for (const std::string &url : policy->list_urls) {
    const auto checked = ReadFetchRecord(host::FetchedList(policy->state_folder, url)).checked;
    family.metric.push_back(Metric(family.type, {{"list", url}}, checked ? Seconds(*checked) : 0));
  }
  return family;
}

}  // namespace

std::vector<MetricFamily> MetricFamilies(const WorkerReports::Workers &workers,
                                         const host::Policy *policy) {
  std::vector<MetricFamily> families;
  AddNumbers(families, workers);
  families.push_back(Blocked(workers));
  families.push_back(Stopped(workers));
  families.push_back(FilterTimes(workers));
  families.push_back(Reported(workers));
  families.push_back(Lists(policy));
  families.push_back({"velmora_policy_good",
                      "Whether the policy can be read as it is now.",
                      MetricType::Gauge,
                      {Metric(MetricType::Gauge, {}, policy == nullptr ? 0 : 1)}});
  families.push_back({"velmora_build_info",
                      "The version that tells this.",
                      MetricType::Gauge,
                      {Metric(MetricType::Gauge, {{"version", VELMORA_VERSION}}, 1)}});
  return families;
}

}  // namespace velmora::command
