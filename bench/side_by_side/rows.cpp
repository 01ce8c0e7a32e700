// Answers rows as contenders do.
#include "rows.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>

namespace velmora::bench {

std::vector<std::string> ReadFiles(const std::filesystem::path &folder,
                                   const std::string &extension) {
  std::vector<std::filesystem::path> paths;
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == extension) paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  std::vector<std::string> files;
  for (const auto &path : paths) {
    std::ifstream file(path, std::ios::binary);
    files.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return files;
}

namespace {

double WallSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double CpuSeconds() {
  std::timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// Long enough for a collection of JavaScript's garbage to fall into each, short enough for the
/// rounds to stand close together.
constexpr double SHORTEST_ROUND = 0.4;

void Run(const Round &round) {
  std::size_t amount = 0;
  const double wall = WallSeconds();
  const double cpu = CpuSeconds();
  do {
    amount += round();
  } while (WallSeconds() - wall < SHORTEST_ROUND);
  std::printf("%zu %.9f %.9f\n", amount, WallSeconds() - wall, CpuSeconds() - cpu);
}

}  // namespace

void AnswerRows(const Rows &rows) {
  for (std::string name; std::getline(std::cin, name); std::fflush(stdout)) {
    if (const auto row = rows.find(name); row != rows.end()) {
      Run(row->second);
    } else {
      std::printf("no row %s\n", name.c_str());
    }
  }
}

}  // namespace velmora::bench
