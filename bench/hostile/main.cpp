// What bodies cost that are made up to cost much: processor time and memory, at three sizes.
//
//   bench_hostile [--plugin FILE] [--against FILE] [--lists FILE] [--size KIB] [NAME...]
//
// Each body is made 64 KiB (or --size), four and sixteen times as long and runs through the plug-in
// as in a proxy, in a process of its own; of several rounds the shortest counts. "growth" is the
// time of the longest by 16 times that of the shortest: it stays near 1 when the cost grows as the
// body does, and that of a cost by the square is 16. What fits the processor's caches at first and
// then no longer grows too, so a doubtful one is tried with a larger size. "memory" is what the
// process grew by for each byte of the longest. --against names another build of the plug-in, say
// the one without fast paths; "ratio" is this one's time by that one's, for the longest. Each build
// has its ad-blocking library beside it. NAMEs are parts of the names of the bodies to run.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <velmora/ad_blocker.h>

#include "bodies.h"
#include "host/loading/plugin.h"
#include "measuring.h"

namespace {

using namespace velmora::bench;

constexpr unsigned MOST_SECONDS = 20;

struct Arguments {
  std::filesystem::path plugin = velmora::host::DefaultPlugin();
  std::filesystem::path against;
  std::filesystem::path lists;
  std::string size_in_kib = "64";
  std::vector<std::string_view> names;

  std::size_t Size() const { return std::strtoul(size_in_kib.c_str(), nullptr, 10) << 10; }
};

Arguments Read(int count, char **arguments) {
  Arguments read;
  for (int i = 1; i < count; ++i) {
    const std::string_view argument = arguments[i];
    std::filesystem::path *const path = argument == "--plugin"    ? &read.plugin
                                        : argument == "--against" ? &read.against
                                        : argument == "--lists"   ? &read.lists
                                                                  : nullptr;
    if (path == nullptr && argument != "--size") {
      read.names.push_back(argument);
    } else if (++i == count) {
      break;
    } else if (path == nullptr) {
      read.size_in_kib = arguments[i];
    } else {
      *path = arguments[i];
    }
  }
  return read;
}

/// Without it nothing is asked about addresses, and the figures would be those of something else.
bool HasAdLibrary(const std::filesystem::path &plugin) {
  if (std::filesystem::exists(plugin.parent_path() / velmora::AD_LIBRARY_NAME)) return true;
  std::fprintf(stderr, "bench_hostile: there is no %s beside %s\n", velmora::AD_LIBRARY_NAME,
               plugin.c_str());
  return false;
}

/// Says why not.
bool CanBeMeasured(const Modules &modules) {
  constexpr HostileBody NOTHING{"nothing", "text/html", "", " "};
  return HasAdLibrary(modules.plugin) && Measure(modules, NOTHING, 1, MOST_SECONDS);
}

bool IsWanted(const Arguments &arguments, std::string_view name) {
  if (arguments.names.empty()) return true;
  for (const std::string_view part : arguments.names) {
    if (name.find(part) != std::string_view::npos) return true;
  }
  return false;
}

void PrintSeconds(const std::optional<Cost> &cost) {
  if (cost) {
    std::printf(" %8.4f", cost->seconds);
  } else {
    std::printf(" %8s", "> 20");
  }
}

void PrintRow(const Arguments &arguments, const Modules &modules, const HostileBody &body) {
  std::printf("%-34.*s", static_cast<int>(body.name.size()), body.name.data());
  const std::size_t size = arguments.Size();
  const auto small = Measure(modules, body, size, MOST_SECONDS);
  const auto middle = Measure(modules, body, 4 * size, MOST_SECONDS);
  const auto large = Measure(modules, body, 16 * size, MOST_SECONDS);
  for (const auto &cost : {small, middle, large}) PrintSeconds(cost);
  if (small && large) {
    std::printf(" %7.2f %7.1f", large->seconds / (16 * small->seconds), large->memory);
  } else {
    std::printf(" %7s %7s", "-", "-");
  }
  if (!arguments.against.empty()) {
    const auto other =
        Measure({arguments.against, modules.ad_lists}, body, 16 * size, MOST_SECONDS);
    if (large && other) std::printf(" %7.2f", large->seconds / other->seconds);
  }
  std::printf("%s\n", large && large->is_stopped ? "  stopped" : "");
  std::fflush(stdout);
}

}  // namespace

int main(int count, char **argument_list) {
  const Arguments arguments = Read(count, argument_list);
  if (arguments.Size() == 0) return 2;
  Modules modules{arguments.plugin, arguments.lists};
  char own_lists[] = "/tmp/velmora-hostile-XXXXXX";
  if (modules.ad_lists.empty()) {
    if (::mkstemp(own_lists) < 0) return 1;
    modules.ad_lists = own_lists;
    std::ofstream(own_lists) << HostileRules();
  }
  if (!CanBeMeasured(modules) ||
      (!arguments.against.empty() && !CanBeMeasured({arguments.against, modules.ad_lists}))) {
    if (arguments.lists.empty()) std::filesystem::remove(own_lists);
    return 2;
  }
  std::printf("%-34s", "CPU seconds");
  for (const std::size_t times : {1, 4, 16}) {
    std::printf(" %4zu KiB", times * arguments.Size() >> 10);
  }
  std::printf(" %7s %7s%s\n", "growth", "memory", arguments.against.empty() ? "" : "   ratio");
  for (const HostileBody &body : HostileBodies()) {
    if (IsWanted(arguments, body.name)) PrintRow(arguments, modules, body);
  }
  if (arguments.lists.empty()) std::filesystem::remove(own_lists);
  return 0;
}
