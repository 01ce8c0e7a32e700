#include "host/limits/processor_timer.h"

#include <gtest/gtest.h>

namespace velmora::host {
namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;

nanoseconds wall{0};
nanoseconds processor{0};
int readings = 0;

ThreadClocks TestClocks() {
  wall = microseconds(3);
  processor = microseconds(1);
  readings = 0;
  return {[]() noexcept { return wall; },
          []() noexcept {
            ++readings;
            return processor;
          }};
}

/// Time passes, in part of it the thread works.
void Pass(nanoseconds time, nanoseconds work) {
  wall += time;
  processor += work;
}

nanoseconds Time(ThreadClocks &clocks, nanoseconds time, nanoseconds work) {
  ProcessorTimer timer(clocks);
  Pass(time, work);
  return timer.Elapsed();
}

TEST(ProcessorTimer, WhatLastsIsMeasuredAndWaitingDoesNotCount) {
  ThreadClocks clocks = TestClocks();
  EXPECT_EQ(Time(clocks, microseconds(900), microseconds(700)), microseconds(700));
  Pass(microseconds(500), microseconds(500));
  EXPECT_EQ(Time(clocks, microseconds(900), microseconds(80)), microseconds(80));
  // So little before it that it may count.
  Pass(microseconds(49), microseconds(40));
  EXPECT_EQ(Time(clocks, microseconds(900), microseconds(80)), microseconds(120));
  EXPECT_EQ(Time(clocks, microseconds(100), microseconds(100)), microseconds(100));
}

TEST(ProcessorTimer, WhatIsShortCountsAsItLastsWithoutAReadingEach) {
  ThreadClocks clocks = TestClocks();
  nanoseconds sum{0};
  constexpr int TIMES = 1000;
  for (int i = 0; i < TIMES; ++i) sum += Time(clocks, nanoseconds(200), nanoseconds(200));
  EXPECT_EQ(sum, TIMES * nanoseconds(200));
  EXPECT_LE(readings, 1 + TIMES * nanoseconds(200) / ThreadClocks::SHORT);
  // Each of them may last, and none is lost.
  EXPECT_EQ(Time(clocks, microseconds(51), microseconds(51)), microseconds(51));
}

}  // namespace
}  // namespace velmora::host
