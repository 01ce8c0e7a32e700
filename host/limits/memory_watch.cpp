#include "host/limits/memory_watch.h"

#include <atomic>
#include <new>

namespace velmora::host {
namespace {

/// The new-handler that was there before.
class Before {
 public:
  /// Lets `handler` be called first from now on.
  void Precede(std::new_handler handler) noexcept {
    if (std::get_new_handler() == handler) return;
    const std::new_handler before = std::set_new_handler(handler);
    // Another thread may have been as quick.
    if (before != handler) before_ = before;
    ours_ = handler;
  }
  void operator()() const {
    if (const std::new_handler before = before_) return before();
    throw std::bad_alloc();
  }
  /// This code may be unloaded.
  ~Before() {
    if (ours_ != nullptr && std::get_new_handler() == ours_) std::set_new_handler(before_);
  }

 private:
  std::atomic<std::new_handler> before_ = nullptr;
  std::atomic<std::new_handler> ours_ = nullptr;
};
Before before;

}  // namespace

thread_local MemoryWatch *MemoryWatch::current = nullptr;

MemoryWatch::MemoryWatch() noexcept : outer_(current) {
  before.Precede(&OnNoMemory);
  current = this;
}

MemoryWatch::~MemoryWatch() {
  current = outer_;
}

void MemoryWatch::OnNoMemory() {
  if (current == nullptr) return before();
  current->has_failed_ = true;
  throw std::bad_alloc();
}

}  // namespace velmora::host
