#include "host/bodies/worker_counters.h"

#include <algorithm>
#include <atomic>
#include <new>

namespace velmora::host {
namespace {

/// A thread's place. It stays when the thread ends, so that nothing that was counted is lost.
struct Place {
  WorkerCounters counters{};
  Place *next = nullptr;
};

std::atomic<Place *> places = nullptr;
/// For threads that get no memory for one of their own.
Place common;

Place *MakePlace() noexcept {
  auto *const place = new (std::nothrow) Place;
  if (place == nullptr) return &common;
  place->next = places.load(std::memory_order_relaxed);
  while (!places.compare_exchange_weak(place->next, place, std::memory_order_release)) continue;
  return place;
}

WorkerCounters &OwnCounters() noexcept {
  thread_local Place *own = nullptr;
  if (own == nullptr) own = MakePlace();
  return own->counters;
}

/// Only one thread writes it, but for the common place, where a number may be lost.
void Grow(std::uint64_t &number, std::uint64_t amount) noexcept {
  const std::atomic_ref<std::uint64_t> shared(number);
  shared.store(shared.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
}

void Add(std::uint64_t &sum, std::uint64_t &number) noexcept {
  sum += std::atomic_ref<std::uint64_t>(number).load(std::memory_order_relaxed);
}

template <std::size_t SIZE>
void Add(std::array<std::uint64_t, SIZE> &sums, std::array<std::uint64_t, SIZE> &numbers) noexcept {
  for (std::size_t i = 0; i < SIZE; ++i) Add(sums[i], numbers[i]);
}

void Add(WorkerCounters &sums, WorkerCounters &numbers) noexcept {
  constexpr std::uint64_t WorkerCounters::*NUMBERS[] = {
      &WorkerCounters::requests,  &WorkerCounters::responses,  &WorkerCounters::filtered,
      &WorkerCounters::refused,   &WorkerCounters::broken_off, &WorkerCounters::bytes_in,
      &WorkerCounters::bytes_out, &WorkerCounters::saved,      &WorkerCounters::filter_nanoseconds};
  for (const auto number : NUMBERS) Add(sums.*number, numbers.*number);
  Add(sums.filter_times, numbers.filter_times);
  Add(sums.blocked, numbers.blocked);
  Add(sums.stopped, numbers.stopped);
}

}  // namespace

void Count(std::uint64_t WorkerCounters::*number, std::uint64_t amount) noexcept {
  Grow(OwnCounters().*number, amount);
}

void CountBlocked(std::int32_t category) noexcept {
  const auto found = std::ranges::find(CATEGORY_TABLE, category, &Category::code);
  if (found == std::end(CATEGORY_TABLE)) return;
  Grow(OwnCounters().blocked[static_cast<std::size_t>(found - std::begin(CATEGORY_TABLE))], 1);
}

void CountStopped(StopReason reason) noexcept {
  Grow(OwnCounters().stopped[static_cast<std::size_t>(reason)], 1);
}

void CountBody(const BodyCounts &body) noexcept {
  WorkerCounters &own = OwnCounters();
  Grow(own.bytes_in, body.bytes_in);
  Grow(own.bytes_out, body.bytes_out);
  if (body.is_broken_off) Grow(own.broken_off, 1);
  Grow(own.filter_nanoseconds, static_cast<std::uint64_t>(body.filter_time.count()));
  const double seconds = std::chrono::duration<double>(body.filter_time).count();
  const auto *const bucket = std::ranges::lower_bound(WorkerCounters::FILTER_TIMES, seconds);
  Grow(
      own.filter_times[static_cast<std::size_t>(bucket - std::begin(WorkerCounters::FILTER_TIMES))],
      1);
}

WorkerCounters CountersOfProcess() noexcept {
  WorkerCounters sums;
  Add(sums, common.counters);
  for (Place *place = places.load(std::memory_order_acquire); place != nullptr;
       place = place->next) {
    Add(sums, place->counters);
  }
  return sums;
}

}  // namespace velmora::host
