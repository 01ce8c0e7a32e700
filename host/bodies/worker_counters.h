// WorkerCounters: what a process has done since it began, in numbers that cost next to nothing to
// keep.
//
// Each thread counts in a place of its own, without a lock and without waiting for any other;
// whoever wants the numbers adds these up.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "host/bodies/categories.h"
#include "host/limits/limits.h"

namespace velmora::host {

struct WorkerCounters {
  /// Processor time that a body may take, in seconds, as ends of a histogram's buckets; what takes
  /// longer than the last one is in one more.
  static constexpr double FILTER_TIMES[] = {0.0001, 0.0005, 0.001, 0.005, 0.01,
                                            0.05,   0.1,    0.5,   1,     5};

  /// Requests that were judged.
  std::uint64_t requests = 0;
  std::uint64_t responses = 0;
  /// Of these: went through the filter, must not go on, were broken off on their way.
  std::uint64_t filtered = 0;
  std::uint64_t refused = 0;
  std::uint64_t broken_off = 0;
  /// Of bodies that went through the filter, as they came (in their coding) and as they went on.
  std::uint64_t bytes_in = 0;
  std::uint64_t bytes_out = 0;
  /// By how much bodies from which something was taken got shorter; as a signed number.
  std::uint64_t saved = 0;
  std::uint64_t filter_nanoseconds = 0;
  /// Bodies by the processor time that they took.
  std::array<std::uint64_t, std::size(FILTER_TIMES) + 1> filter_times{};
  /// Items by their category's place in `CATEGORY_TABLE`.
  std::array<std::uint64_t, std::size(CATEGORY_TABLE)> blocked{};
  /// Bodies by the `StopReason` for which their filtering ended early.
  std::array<std::uint64_t, STOP_REASONS> stopped{};

  bool operator==(const WorkerCounters &) const = default;
};

/// One body, on its way through the filter.
struct BodyCounts {
  std::uint64_t bytes_in = 0;
  std::uint64_t bytes_out = 0;
  std::chrono::nanoseconds filter_time{0};
  bool is_broken_off = false;
};

// Each adds to a number that only its own thread writes.

void Count(std::uint64_t WorkerCounters::*number, std::uint64_t amount = 1) noexcept;
void CountBlocked(std::int32_t category) noexcept;
void CountStopped(StopReason reason) noexcept;
void CountBody(const BodyCounts &body) noexcept;

/// Of all threads so far.
WorkerCounters CountersOfProcess() noexcept;

}  // namespace velmora::host
