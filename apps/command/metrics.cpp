// velmora metrics: what a proxy has done, for Prometheus: once as text, or for as long as one likes
// as an endpoint of HTTP.
//
// Each worker of the proxy tells of itself in the event log; the newest of that is shown here.
#include <csignal>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <mutex>
#include <optional>
#include <prometheus/collectable.h>
#include <prometheus/exposer.h>
#include <prometheus/text_serializer.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "command/answers/asked_log.h"
#include "command/answers/files.h"
#include "command/answers/messages.h"
#include "command/answers/worker_reports.h"
#include "command/commands.h"
#include "command/metric_families.h"
#include "host/policy/policy.h"

namespace velmora::command {
namespace {

struct MetricsOptions {
  std::string policy = host::DefaultPolicy();
  std::string log;
  std::string listen;
  std::string output;
};

class Metrics final : public prometheus::Collectable {
 public:
  explicit Metrics(const MetricsOptions &options)
      : policy_(options.policy), reports_(LogOf(options)) {}

  std::vector<prometheus::MetricFamily> Collect() const override {
    const std::lock_guard lock(mutex_);
    std::optional<host::Policy> policy;
    try {
      policy = host::ReadPolicy(policy_);
    } catch (const host::PolicyError &) {
      // A metric says so.
    }
    return MetricFamilies(Workers(), policy ? &*policy : nullptr);
  }

 private:
  /// A policy that cannot be read is a metric: only where it is to name the log it has to be good.
  static std::filesystem::path LogOf(const MetricsOptions &options) {
    return options.log.empty() ? AskedLog(options.policy, {}).file
                               : std::filesystem::path(options.log);
  }

  const WorkerReports::Workers &Workers() const {
    try {
      return reports_.Now();
    } catch (const std::exception &error) {
      PrintMessage(error.what());
      static const WorkerReports::Workers nobody;
      return nobody;
    }
  }

  const std::string policy_;
  /// Prometheus asks from threads of its own.
  mutable std::mutex mutex_;
  mutable WorkerReports reports_;
};

int Print(const MetricsOptions &options) {
  Output output(options.output);
  output.Write(prometheus::TextSerializer().Serialize(Metrics(options).Collect()));
  output.Finish();
  return EXIT_OK;
}

/// Answers until a signal ends it.
int Serve(const MetricsOptions &options) {
  sigset_t ends;
  sigemptyset(&ends);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&ends, signal);
  // Before there are threads, which then leave them alone.
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  const auto metrics = std::make_shared<Metrics>(options);
  std::unique_ptr<prometheus::Exposer> exposer;
  try {
    exposer = std::make_unique<prometheus::Exposer>(options.listen);
  } catch (const std::exception &error) {
    throw std::runtime_error(options.listen + ": " + error.what());
  }
  exposer->RegisterCollectable(metrics);
  PrintMessage(fmt::format("metrics are on port {}, under /metrics",
                           fmt::join(exposer->GetListeningPorts(), ", ")));
  int signal = 0;
  sigwait(&ends, &signal);
  return EXIT_OK;
}

}  // namespace

void AddMetrics(CLI::App &application, Action &action) {
  CLI::App &command =
      *application.add_subcommand("metrics", "Tell Prometheus what the proxy has done");
  const auto options = std::make_shared<MetricsOptions>();
  auto *const listen =
      command
          .add_option("--listen", options->listen,
                      "Answer there until a signal ends it, such as on 127.0.0.1:9469")
          ->type_name("ADDRESS:PORT");
  command.add_option("-o,--output", options->output, "A file, not standard output")
      ->type_name("FILE")
      ->excludes(listen);
  command
      .add_option("--policy", options->policy,
                  fmt::format("The policy that names log and lists (default: {})", options->policy))
      ->type_name("FILE");
  command.add_option("--log", options->log, "Another event log")->type_name("FILE");
  command.callback([options, &action] {
    action = [options] { return options->listen.empty() ? Print(*options) : Serve(*options); };
  });
}

}  // namespace velmora::command
