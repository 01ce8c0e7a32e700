// How fast bodies go through the plug-in, in bytes a second.
//
//   bench_page FOLDER [options of the benchmark library]
//
// FOLDER holds saved pages (*.html). They are run one after the other, in slices of 64 KiB as a
// host delivers them, with every category off and with every category on (no ad-blocking library
// bound); an animated GIF too. "passed_by" is the same host without a handler, the floor of all
// figures.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/bodies/body_stream.h"
#include "host/bodies/transaction.h"
#include "host/loading/plugin.h"

namespace {

using namespace velmora::host;

class NullSink final : public TransactionSink {
 public:
  void OnBlocked(const BlockedItem &) noexcept override {}
  void OnStopped(StopReason) noexcept override {}
};

std::vector<std::string> ReadPages(const std::filesystem::path &folder) {
  std::vector<std::filesystem::path> paths;
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".html") paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  std::vector<std::string> pages;
  for (const auto &path : paths) {
    std::ifstream file(path, std::ios::binary);
    pages.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return pages;
}

/// Two frames, the first of 1 MiB in data blocks of 255 bytes each.
std::string MakeGif() {
  using namespace std::string_literals;
  std::string gif = "GIF89a\x10\0\x10\0\0\0\0,\0\0\0\0\x10\0\x10\0\0\x02"s;
  for (int i = 0; i < 4096; ++i) gif += '\xFF' + std::string(255, 'x');
  return gif + "\0,\0\0\0\0\x10\0\x10\0\0\x02\1x\0;"s;
}

void RunBodies(benchmark::State &state, const Plugin &plugin,
               const std::vector<std::string> &bodies, const TransactionInfo &info) {
  NullSink sink;
  std::int64_t bytes = 0;
  for (auto _ : state) {
    for (const std::string &body : bodies) {
      Transaction transaction(info, sink);
      PushedPieces pieces;
      BodyStream stream(pieces, plugin.CreateProcessor(), transaction);
      pieces.Finish(body);
      for (Part part; !part.is_last;) {
        part = stream.Next();
        benchmark::DoNotOptimize(part.bytes.data());
      }
      bytes += static_cast<std::int64_t>(body.size());
    }
  }
  state.SetBytesProcessed(bytes);
}

TransactionInfo Info(const char *type, bool everything, const char *handlers = nullptr) {
  TransactionInfo info{.url = "http://www.example.com/", .content_type = type};
  if (everything) info.categories = CategorySet::All();
  if (handlers != nullptr) info.settings["DataHandlers"] = handlers;
  return info;
}

}  // namespace

int main(int count, char **arguments) {
  if (count < 2 || arguments[1][0] == '-') {
    std::fprintf(stderr, "usage: bench_page FOLDER [options of the benchmark library]\n");
    return 2;
  }
  const Plugin plugin(DefaultPlugin());
  const std::vector<std::string> pages = ReadPages(arguments[1]);
  const std::vector<std::string> gifs = {MakeGif()};
  --count;
  std::rotate(arguments + 1, arguments + 2, arguments + count + 2);

  const auto add = [&plugin](const char *name, const std::vector<std::string> &bodies,
                             TransactionInfo info) {
    benchmark::RegisterBenchmark(name, [&plugin, &bodies, info](benchmark::State &state) {
      RunBodies(state, plugin, bodies, info);
    })->Unit(benchmark::kMillisecond);
  };
  add("pages/passed_by", pages, Info("text/html", false, ""));
  add("pages/categories_off", pages, Info("text/html", false));
  add("pages/utf8/categories_off", pages, Info("text/html; charset=utf-8", false));
  add("pages/utf8/categories_on", pages, Info("text/html; charset=utf-8", true));
  add("gif/categories_off", gifs, Info("image/gif", false));
  add("gif/categories_on", gifs, Info("image/gif", true));
  benchmark::Initialize(&count, arguments);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
