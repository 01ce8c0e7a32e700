// What one body costs, measured in a process of its own.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>

#include "bodies.h"

namespace velmora::bench {

struct Cost {
  /// Of the processor, for one run through the plug-in: the least of several rounds.
  double seconds;
  /// What the process grew by at its greatest, for each byte of the body.
  double memory;
  /// A limit was passed: the rest of the body was not looked at.
  bool is_stopped;
};

struct Modules {
  std::filesystem::path plugin;
  std::filesystem::path ad_lists;
};

/// None when the body took more than `most_seconds`, or the process died.
std::optional<Cost> Measure(const Modules &modules, const HostileBody &body, std::size_t size,
                            unsigned most_seconds);

}  // namespace velmora::bench
