#include "measuring.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include "host/bodies/response_filter.h"
#include "host/loading/plugin.h"

namespace velmora::bench {
namespace {

using namespace velmora::host;

/// Of several rounds the shortest counts: whatever else the machine does only makes them longer.
constexpr int ROUNDS = 7;
/// The processor's clock may tick slowly, so that in a round a short run is repeated for so long.
constexpr double ENOUGH_SECONDS = 0.02;
/// When all rounds have taken this there are no more.
constexpr double MOST_SECONDS_OF_ROUNDS = 2;

class Sink final : public TransactionSink {
 public:
  void OnBlocked(const BlockedItem &) noexcept override {}
  void OnStopped(StopReason) noexcept override { is_stopped = true; }

  bool is_stopped = false;
};

double ProcessorSeconds() {
  std::timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// In bytes: "VmRSS", "VmHWM".
double MemoryOf(std::string_view name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return 1024 * std::stod(line.substr(name.size() + 1));
  }
  return 0;
}

void ForgetMostMemory() {
  std::ofstream("/proc/self/clear_refs") << 5;
}

std::string Gzipped(const std::string &text) {
  std::string gzipped(compressBound(text.size()) + 64, '\0');
  z_stream stream{};
  deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 9, Z_DEFAULT_STRATEGY);
  stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef *>(gzipped.data());
  stream.avail_out = static_cast<uInt>(gzipped.size());
  deflate(&stream, Z_FINISH);
  gzipped.resize(stream.total_out);
  deflateEnd(&stream);
  return gzipped;
}

CategorySet Categories(Blocking blocking) {
  return CategorySet::Parse(blocking == Blocking::EVERYTHING
                                ? "all"
                                : "101,102,103,201,202,203,303,304,305,306,307,308,400");
}

bool Run(const Plugin &plugin, const HostileBody &body, std::string_view bytes) {
  Sink sink;
  const TransactionInfo info{.url = "http://www.example.com/dir/page.html",
                             .content_type = std::string(body.content_type),
                             .categories = Categories(body.blocking)};
  ResponseOptions options;
  options.stream.limits.filter_time.most = std::chrono::hours(1);
  ResponseFilter filter(plugin.CreateProcessor(), info,
                        {.content_encoding = body.is_gzipped ? "gzip" : ""}, sink, options);
  while (bytes.size() > body.piece) {
    const std::string_view piece = bytes.substr(0, body.piece);
    for (auto out = filter.Push(piece); !out.empty(); out = filter.Next()) continue;
    bytes.remove_prefix(body.piece);
  }
  for (auto out = filter.Finish(bytes); !out.empty(); out = filter.Next()) continue;
  return sink.is_stopped;
}

/// One round's time for a run.
double RoundSeconds(const Plugin &plugin, const HostileBody &body, std::string_view bytes) {
  const double begin = ProcessorSeconds();
  double seconds = 0;
  int runs = 0;
  for (; seconds < ENOUGH_SECONDS; ++runs) {
    Run(plugin, body, bytes);
    seconds = ProcessorSeconds() - begin;
  }
  return seconds / runs;
}

Cost MeasureHere(const Modules &modules, const HostileBody &body, std::size_t size) {
  const Plugin plugin(modules.plugin, AdLibraryOptions{.lists = {modules.ad_lists}});
  std::string bytes = body.Text(size);
  if (body.is_gzipped) bytes = Gzipped(bytes);
  // Whatever is only made once is made.
  HostileBody small = body;
  small.is_gzipped = false;
  Run(plugin, small, body.Text(100));

  const double memory_before = MemoryOf("VmRSS");
  ForgetMostMemory();
  const double begin = ProcessorSeconds();
  Cost cost{0, 0, Run(plugin, body, bytes)};
  cost.seconds = ProcessorSeconds() - begin;
  cost.memory = std::max(0.0, MemoryOf("VmHWM") - memory_before) / static_cast<double>(size);
  for (int round = 1;
       round < ROUNDS && ProcessorSeconds() - begin + cost.seconds < MOST_SECONDS_OF_ROUNDS;
       ++round) {
    cost.seconds = std::min(cost.seconds, RoundSeconds(plugin, body, bytes));
  }
  return cost;
}

}  // namespace

std::optional<Cost> Measure(const Modules &modules, const HostileBody &body, std::size_t size,
                            unsigned most_seconds) {
  int pipe_ends[2];
  if (::pipe(pipe_ends) != 0) return std::nullopt;
  const pid_t child = ::fork();
  if (child == 0) {
    const rlimit limit{most_seconds, most_seconds};
    ::setrlimit(RLIMIT_CPU, &limit);
    try {
      const Cost cost = MeasureHere(modules, body, size);
      ::_exit(::write(pipe_ends[1], &cost, sizeof cost) == sizeof cost ? 0 : 1);
    } catch (const LoadError &error) {
      std::fprintf(stderr, "bench_hostile: %s\n", error.what());
      ::_exit(1);
    }
  }
  ::close(pipe_ends[1]);
  Cost cost{};
  const bool is_told = child > 0 && ::read(pipe_ends[0], &cost, sizeof cost) == sizeof cost;
  ::close(pipe_ends[0]);
  if (child > 0) ::waitpid(child, nullptr, 0);
  return is_told ? std::optional(cost) : std::nullopt;
}

}  // namespace velmora::bench
