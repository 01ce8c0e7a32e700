#include "host/events/process_number.h"

#include <atomic>
#include <pthread.h>
#include <unistd.h>

namespace velmora::host {
namespace {

std::atomic<pid_t> known{0};

bool ForgetAtFork() noexcept {
  return pthread_atfork(nullptr, nullptr, [] { known = 0; }) == 0;
}

}  // namespace

pid_t ProcessNumber() noexcept {
  static const bool is_forgotten_at_fork = ForgetAtFork();
  if (!is_forgotten_at_fork) return getpid();
  pid_t number = known.load(std::memory_order_relaxed);
  if (number == 0) known = number = getpid();
  return number;
}

}  // namespace velmora::host
