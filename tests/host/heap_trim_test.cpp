#include "host/limits/heap_trim.h"

#include <gtest/gtest.h>

namespace velmora::host {
namespace {

using std::chrono::milliseconds;

std::chrono::nanoseconds now{0};
int trims = 0;

TEST(HeapTrim, TakesAShareOfTheTimeAndForgetsNothing) {
  HeapTrim heap([]() noexcept { return now; },
                []() noexcept {
                  ++trims;
                  now += milliseconds(8);
                });
  now = milliseconds(5);
  heap.AfterBody();
  EXPECT_EQ(trims, 0) << "nothing large was there";
  heap.AfterLargeBody();
  EXPECT_EQ(trims, 1);

  const auto due = milliseconds(5 + 8 * HeapTrim::SHARE);
  now = due - milliseconds(1);
  heap.AfterLargeBody();
  EXPECT_EQ(trims, 1) << "too early";
  now = due;
  heap.AfterBody();
  EXPECT_EQ(trims, 2) << "what waited is done at another body's end";
  now += std::chrono::hours(1);
  heap.AfterBody();
  EXPECT_EQ(trims, 2) << "and done once";
}

}  // namespace
}  // namespace velmora::host
