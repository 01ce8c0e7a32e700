// Measures the ad-blocking library over the URLs of real pages.
//
//   adblock_bench PAGES LIST...            the figures
//   adblock_bench --urls PAGES        page host, tab, URL: one a line
//   adblock_bench --verdicts PAGES LIST... the same with a verdict and the rule behind it
//   adblock_bench --plainly PAGES LIST...  holds the index against all rules tried in turn (slow)
//
// PAGES is a folder of HTML files, or a file of lines such as --urls prints.
//
// Means are processor time over whole rounds, so that other work on the machine does not count;
// times of single questions are taken around each one, less what taking the time costs.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <velmora/ad_blocker.h>
#include <velmora/module.h>

#include "matcher/loader.h"
#include "matcher/sources.h"
#include "page_urls.h"
#include "vexlar/vexlar.h"

extern "C" velmora::Status GetFactory(const velmora::Identifier *object,
                                      velmora::IDataProcessorFactory **factory);

namespace velmora::bench {
namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::duration time) {
  return std::chrono::duration<double>(time).count();
}

/// Processor time of this thread, in seconds.
double ProcessorTime() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Kilobytes of a line such as "Rss:" of this process's memory, over all mappings.
long MemoryOf(const char *kind) {
  std::ifstream in("/proc/self/smaps_rollup");
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with(kind)) return std::atol(line.c_str() + std::strlen(kind));
  }
  return -1;
}

template <typename Ask>
void MeasureQuestions(const char *name, std::size_t count, Ask ask) {
  std::vector<double> times;
  const int rounds = 200;
  for (std::size_t at = 0; at < count; ++at) ask(at);
  const double start = ProcessorTime();
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t at = 0; at < count; ++at) ask(at);
  }
  const double mean = (ProcessorTime() - start) / rounds / static_cast<double>(count);
  double clock = 1;
  for (int round = 0; round < 1000; ++round) {
    const auto before = Clock::now();
    clock = std::min(clock, Seconds(Clock::now() - before));
  }
  for (int round = 0; round < 20; ++round) {
    for (std::size_t at = 0; at < count; ++at) {
      const auto before = Clock::now();
      ask(at);
      times.push_back(std::max(0.0, Seconds(Clock::now() - before) - clock));
    }
  }
  std::sort(times.begin(), times.end());
  const auto at = [&](double share) {
    return times[static_cast<std::size_t>(share * static_cast<double>(times.size() - 1))] * 1e6;
  };
  std::printf("%s: mean %.3f us, median %.3f us, 99%% %.3f us, 99.9%% %.3f us\n", name, mean * 1e6,
              at(0.5), at(0.99), at(0.999));
}

IAdBlocker *MakeBlocker() {
  IDataProcessorFactory *factory = nullptr;
  void *object = nullptr;
  if (GetFactory(&ID_VexlarObject, &factory) != RESULT_OK ||
      factory->CreateInstance(&ID_AdBlocker, &object) != RESULT_OK) {
    std::exit(1);
  }
  factory->Release();
  return static_cast<IAdBlocker *>(object);
}

/// Questions in a second of wall-clock time, all threads together.
template <typename Ask>
double RateOf(int thread_count, std::size_t count, Ask ask) {
  const int rounds = 60;
  const auto start = Clock::now();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < thread_count; ++thread) {
    threads.emplace_back([&] {
      for (int round = 0; round < rounds; ++round) {
        for (std::size_t at = 0; at < count; ++at) ask(at);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  return thread_count * rounds * static_cast<double>(count) / Seconds(Clock::now() - start);
}

template <typename Ask>
void MeasureThreads(std::size_t count, Ask ask) {
  double one = 0;
  double two = 0;
  for (int round = 0; round < 10; ++round) {
    one = std::max(one, RateOf(1, count, ask));
    two = std::max(two, RateOf(2, count, ask));
  }
  std::printf("CheckUrl by threads: 1: %.2f million a second, 2: %.2f million, ratio %.2f\n",
              one * 1e-6, two * 1e-6, two / one);
}

void MeasureLoading(const std::string &paths) {
  const std::string folder =
      std::filesystem::temp_directory_path() / ("adblock_bench." + std::to_string(getpid()));
  const auto load = [&](const char *name, int rounds, const std::string &cache, bool remove) {
    double best = 1e9;
    for (int round = 0; round < rounds; ++round) {
      if (remove) std::filesystem::remove_all(folder);
      const double start = ProcessorTime();
      const adblock::Sources sources = adblock::ReadPaths(paths);
      const adblock::LoadedRules loaded = adblock::LoadRules(sources.lists, cache);
      best = std::min(best, ProcessorTime() - start);
      if (loaded.from_cache == remove && !cache.empty()) std::puts("the cache was not used");
    }
    std::printf("%s: %.1f ms (best of %d)\n", name, best * 1e3, rounds);
  };
  load("load from text, no cache", 5, "", false);
  load("load from text, cache written", 5, folder, true);
  load("load from cache", 20, folder, false);
  std::filesystem::remove_all(folder);
}

void Measure(const std::vector<PageUrl> &urls, const std::string &paths) {
  MeasureLoading(paths);
  // With the cache of the user, as in a host.
  const long private_before = MemoryOf("Private_Dirty:");
  const long before = MemoryOf("Rss:");
  if (VexlarUseLists(paths.c_str()) != RESULT_OK) std::exit(1);
  if (VexlarUseLists(paths.c_str()) != RESULT_OK) std::exit(1);
  IAdBlocker *blocker = MakeBlocker();
  std::atomic<std::size_t> thread_ads = 0;
  MeasureThreads(urls.size(), [&](std::size_t at) {
    char text[AD_TEXT_SIZE];
    bool exempt = false;
    if (blocker->CheckUrl(urls[at].page_host.c_str(), urls[at].url.c_str(), text, sizeof text,
                          &exempt) > 1) {
      ++thread_ads;
    }
  });
  std::size_t ads = thread_ads;
  const auto check = [&](std::size_t at) {
    char text[AD_TEXT_SIZE];
    bool exempt = false;
    ads += blocker->CheckUrl(urls[at].page_host.c_str(), urls[at].url.c_str(), text, sizeof text,
                             &exempt);
  };
  MeasureQuestions("CheckUrl", urls.size(), check);
  const std::size_t text_ads = urls.size();
  MeasureQuestions("CheckUrlText at a URL", text_ads, [&](std::size_t at) {
    char text[AD_TEXT_SIZE];
    bool exempt = false;
    ads += blocker->CheckUrlText(urls[at].page_host.c_str(), urls[at].url.data(),
                                 static_cast<std::uint32_t>(urls[at].url.size()), text, sizeof text,
                                 &exempt);
  });

  // Script text as it is asked: every byte of it.
  std::string script;
  while (script.size() < 1 << 20) {
    script += "function f(where, what) { return where.width + what.height / 2; } /* no URL */ ";
  }
  const auto ask_everywhere = [&](std::uint32_t mask) {
    char text[AD_TEXT_SIZE];
    bool exempt = false;
    const char *const end = script.data() + script.size();
    const double start = ProcessorTime();
    for (const char *at = script.data(); at < end; ++at) {
      const auto length = static_cast<std::uint32_t>(end - at) & mask;
      ads += blocker->CheckUrlText("page.example", at, length, text, sizeof text, &exempt);
    }
    return (ProcessorTime() - start) * 1e9 / static_cast<double>(script.size());
  };
  double call = 1e9;
  double other = 1e9;
  for (int round = 0; round < 10; ++round) {
    call = std::min(call, ask_everywhere(0));
    other = std::min(other, ask_everywhere(~0U));
  }
  std::printf("CheckUrlText at other bytes: %.2f ns a byte, with nothing to look at %.2f ns\n",
              other, call);

  const double sizes = ProcessorTime();
  for (int at = 0; at < 1000000; ++at) ads += blocker->CheckSize("page.example", at & 1023, 60);
  std::printf("CheckSize: %.1f ns\n", (ProcessorTime() - sizes) * 1e3);
  std::printf(
      "resident: %ld KB, before the lists %ld KB; written to by this process alone: %ld KB, "
      "before %ld KB\n",
      MemoryOf("Rss:"), before, MemoryOf("Private_Dirty:"), private_before);
  std::printf("%zu answers of yes\n", ads);
  blocker->Release();
}

void PrintVerdicts(const std::vector<PageUrl> &urls, const std::string &paths) {
  const adblock::LoadedRules loaded =
      adblock::LoadRules(adblock::ReadPaths(paths).lists, std::string());
  constexpr const char *NAMES[] = {"none", "blocked", "allowed"};
  for (const PageUrl &url : urls) {
    const adblock::Verdict verdict = loaded.rules->Judge({url.page_host, url.url});
    const std::string rule(loaded.rules->OriginOf(verdict.rule).text);
    std::printf("%s\t%s\t%s\t%s\n", url.page_host.c_str(), url.url.c_str(),
                NAMES[static_cast<int>(verdict.kind)], rule.c_str());
  }
}

/// How many URLs the index judges otherwise than all rules tried in turn.
std::size_t CompareWithPlainPath(const std::vector<PageUrl> &urls, const std::string &paths) {
  const adblock::LoadedRules loaded =
      adblock::LoadRules(adblock::ReadPaths(paths).lists, std::string());
  std::size_t different = 0;
  for (const PageUrl &url : urls) {
    const adblock::Question question{url.page_host, url.url};
    const adblock::Verdict verdict = loaded.rules->Judge(question);
    const adblock::Verdict plain = loaded.rules->JudgePlainly(question);
    if (verdict.kind == plain.kind && verdict.rule == plain.rule) continue;
    ++different;
    std::printf("%s\t%s\n", url.page_host.c_str(), url.url.c_str());
  }
  std::printf("%zu of %zu URLs are judged otherwise\n", different, urls.size());
  return different;
}

int Run(std::vector<std::string> arguments) {
  std::string mode;
  if (!arguments.empty() && arguments[0].starts_with("--")) {
    mode = arguments[0];
    arguments.erase(arguments.begin());
  }
  if (arguments.empty() || (arguments.size() < 2 && mode != "--urls")) {
    std::fputs("adblock_bench [--urls|--verdicts|--plainly] PAGES LIST...\n", stderr);
    return 2;
  }
  const std::vector<PageUrl> urls = UrlsOfPages(arguments[0]);
  std::string paths;
  for (std::size_t at = 1; at < arguments.size(); ++at) paths += arguments[at] + ":";
  if (mode == "--urls") {
    for (const PageUrl &url : urls) {
      std::printf("%s\t%s\n", url.page_host.c_str(), url.url.c_str());
    }
  } else if (mode == "--verdicts") {
    PrintVerdicts(urls, paths);
  } else if (mode == "--plainly") {
    return CompareWithPlainPath(urls, paths) == 0 ? 0 : 1;
  } else {
    std::printf("%zu URLs\n", urls.size());
    Measure(urls, paths);
  }
  return 0;
}

}  // namespace
}  // namespace velmora::bench

int main(int count, char **arguments) {
  return velmora::bench::Run({arguments + 1, arguments + count});
}
