// A value that many threads read without waiting and one replaces now and then.
//
// A reader counts itself in before it takes the pointer and out when it is done; the counters are
// spread so that threads seldom meet at one. A replacement exchanges the pointer, and the old value
// goes when every reader that may have it has counted itself out. There are two sets of counters:
// while one is waited for, new readers use the other, so that waiting ends however busy they are.
// It is done for both in turn, as a reader may have chosen its set before the exchange of an
// earlier replacement.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "thread_place.h"

namespace velmora::adblock {

template <typename T>
class Guarded {
  static constexpr std::size_t SLOTS = std::size_t{1} << 6;

  struct alignas(64) Slot {
    std::atomic<std::uint32_t> readers[2] = {};
  };

 public:
  /// Holds the value that was current when it was made; null before the first one.
  class Reading {
   public:
    explicit Reading(const Guarded &guarded) noexcept {
      const std::uint32_t set = guarded.set_.load() & 1;
      counter_ = &guarded.slots_[ThreadPlace() % SLOTS].readers[set];
      counter_->fetch_add(1);
      value_ = guarded.value_.load();
    }
    ~Reading() { counter_->fetch_sub(1); }
    Reading(const Reading &) = delete;
    Reading &operator=(const Reading &) = delete;

    const T *Get() const noexcept { return value_; }
    explicit operator bool() const noexcept { return value_ != nullptr; }
    const T *operator->() const noexcept { return value_; }

   private:
    std::atomic<std::uint32_t> *counter_;
    const T *value_;
  };

  /// `patience`: how long a replacement waits for readers of the value before.
  explicit Guarded(std::chrono::milliseconds patience = std::chrono::seconds(2))
      : patience_(patience) {}
  /// When no reader is left.
  ~Guarded() { delete value_.load(); }
  Guarded(const Guarded &) = delete;
  Guarded &operator=(const Guarded &) = delete;

  /// Puts `next` in the value's place and destroys the old one when its last reader is done. A
  /// reader that never comes back (its thread is gone in a forked process) makes the old value
  /// stay; it does not make this wait for ever.
  void Replace(std::unique_ptr<const T> next) {
    const base::MutexLock lock(replacing_);
    std::unique_ptr<const T> old(value_.exchange(next.release()));
    if (!WaitForReaders()) kept_.push_back(std::move(old));
  }

 private:
  bool WaitForReaders() noexcept {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point give_up = Clock::now() + patience_;
    for (int turn = 0; turn < 2; ++turn) {
      const std::uint32_t set = set_.fetch_add(1) & 1;
      for (const Slot &slot : slots_) {
        while (slot.readers[set].load() != 0) {
          if (Clock::now() > give_up) return false;
          std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
      }
    }
    return true;
  }

  mutable std::array<Slot, SLOTS> slots_;
  base::Mutex replacing_;
  std::vector<std::unique_ptr<const T>> kept_ VELMORA_GUARDED_BY(replacing_);
  const std::chrono::milliseconds patience_;
  std::atomic<const T *> value_ = nullptr;
  std::atomic<std::uint32_t> set_ = 0;
};

}  // namespace velmora::adblock
