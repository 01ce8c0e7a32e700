// What questions to the store cost beside reading the log, and what feeding costs.
//
//   store_bench FOLDER [EVENTS]
//
// Writes a school's week into FOLDER (10 million events take 6 GB there) unless it is there
// already, feeds it, and asks. Each figure stands beside that of one reading of the whole log in
// the same run.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "host/events/event.h"
#include "school_week.h"
#include "store/event_store.h"
#include "store/feeding.h"

namespace velmora::bench {
namespace {

namespace fs = std::filesystem;
using store::Dimension;
using store::Filter;

/// Processor time, which a busy machine does not lengthen as it does the time that passes.
template <class Function>
double Seconds(Function function) {
  const std::clock_t begin = std::clock();
  function();
  return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

/// What is to be beaten: every line is looked at for a word, and some are read.
double ScanSeconds(const fs::path &log, std::uint64_t &lines) {
  return Seconds([&] {
    std::ifstream file(log, std::ios::binary);
    std::uint64_t found = 0;
    lines = 0;
    for (std::string line; std::getline(file, line); ++lines) {
      if (line.find("site7.example") != line.npos && host::FromLine(line)) ++found;
    }
    std::printf("%-44s %9llu lines\n", "site7.example in", static_cast<unsigned long long>(found));
  });
}

struct Question {
  const char *words;
  std::function<std::size_t(const store::EventStore &)> ask;
};

std::function<std::size_t(const store::EventStore &)> Events(Filter filter) {
  return [filter](const store::EventStore &store) { return store.Events(filter).events.size(); };
}
std::function<std::size_t(const store::EventStore &)> Sums(Dimension by, Filter filter = {}) {
  return [by, filter](const store::EventStore &store) { return store.Sums(by, filter, 50).size(); };
}
Filter OfClient(const char *client) {
  return {.clients = {host::ClientNetwork::Parse(client)}};
}
Filter OfSite(const char *site) {
  Filter filter;
  filter.sites.Add(site);
  return filter;
}

int Main(const fs::path &folder, std::uint64_t events) {
  fs::create_directories(folder);
  const fs::path log = folder / "events.jsonl";
  if (!fs::exists(log)) WriteSchoolWeek(log, events);
  std::uint64_t lines = 0;
  const double scan = ScanSeconds(log, lines);
  std::printf("%-44s %9.2f s for %llu lines, %.1f GB\n", "the whole log is read in", scan,
              static_cast<unsigned long long>(lines),
              static_cast<double>(fs::file_size(log)) / 1e9);
  store::FedLog fed;
  const double feeding = Seconds([&] { fed = store::Feed({.file = log}); });
  if (fed.events != 0) {
    std::printf("%-44s %9.2f s, %.1f us an event, %.1f times the reading\n", "fed in", feeding,
                feeding * 1e6 / static_cast<double>(fed.events), feeding / scan);
  }
  const fs::path store_file = store::StoreOf({.file = log});
  std::printf("%-44s %9.2f GB\n", "the store",
              static_cast<double>(fs::file_size(store_file)) / 1e9);
  std::printf("%-44s %9.4f s\n", "fed again, with nothing new",
              Seconds([&] { store::Feed({.file = log}); }));

  Filter client_on_site = OfSite("site3.example");
  client_on_site.clients = OfClient("10.0.1.7").clients;
  const Question questions[] = {
      {"totals", [](const auto &store) { return store.Total({}).blocked != 0 ? 1 : 0; }},
      {"by hour", Sums(Dimension::HOUR)},
      {"by category", Sums(Dimension::CATEGORY)},
      {"by client", Sums(Dimension::CLIENT)},
      {"by site", Sums(Dimension::SITE)},
      {"by rule", Sums(Dimension::RULE)},
      {"by site, of one client", Sums(Dimension::SITE, OfClient("10.0.1.7"))},
      {"by rule, of one client", Sums(Dimension::RULE, OfClient("10.0.1.7"))},
      {"by client, of the busiest site", Sums(Dimension::CLIENT, OfSite("site0.example"))},
      {"by rule, of the busiest site", Sums(Dimension::RULE, OfSite("site0.example"))},
      {"by site, of the busiest rule", Sums(Dimension::SITE, {.rule = "||ads0.example^"})},
      {"by site, of a rare rule", Sums(Dimension::SITE, {.rule = "||ads4000.example^"})},
      {"by site, without one client",
       Sums(Dimension::SITE, {.without_clients = OfClient("10.0.1.7").clients})},
      {"by client, containing a text", Sums(Dimension::CLIENT, {.text = "ads4000.exam"})},
      {"newest events", Events({})},
      {"newest of one client", Events(OfClient("10.0.1.7"))},
      {"newest of a rare site", Events(OfSite("site19000.example"))},
      {"newest of one client on one site", Events(client_on_site)},
      {"newest by a rare rule", Events({.rule = "||ads4999.example^"})},
      {"newest of a kind that there is none of", Events({.kinds = {host::EventKind::STOPPED}})},
      {"newest that contain a common text", Events({.text = "banner.js"})},
      {"newest that contain a rare text", Events({.text = "ads4999.example/tag/39"})},
      {"newest that contain a text there is none of", Events({.text = "nowhere"})},
  };
  for (const Question &question : questions) {
    std::size_t rows = 0;
    // Opened for each question, as a program that is asked once does.
    const double first = Seconds([&] { rows = question.ask(store::EventStore(store_file)); });
    const double again = Seconds([&] { rows = question.ask(store::EventStore(store_file)); });
    std::printf("%-44s %9.4f s, again %.4f s: %zu rows, 1/%.0f of the reading\n", question.words,
                first, again, rows, scan / again);
  }
  return 0;
}

}  // namespace
}  // namespace velmora::bench

int main(int argc, char **argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: store_bench FOLDER [EVENTS]\n");
    return 2;
  }
  try {
    return velmora::bench::Main(argv[1],
                                argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 10'000'000);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "store_bench: %s\n", error.what());
    return 1;
  }
}
