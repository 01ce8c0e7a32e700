// The program's memory, dealt out by its tests: on a thread so many allocations succeed, and the
// next one fails. It stands in one source file of a program, whose `operator new` it is.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <malloc.h>
#include <new>

namespace velmora::testing {

inline constexpr long ALL_SUCCEED = std::numeric_limits<long>::max();
inline thread_local long allocations_left = ALL_SUCCEED;
/// Of this thread, since it was last set back.
inline thread_local bool allocation_failed = false;
/// Bytes of this thread, and the most of them since that was last set back.
inline thread_local long bytes_in_use = 0;
inline thread_local long most_bytes_in_use = 0;

inline bool Deal() noexcept {
  if (--allocations_left >= 0) return true;
  allocations_left = ALL_SUCCEED;
  allocation_failed = true;
  return false;
}

}  // namespace velmora::testing

// Loaded modules use these too. Inlined, the compiler takes them for a mismatch.
[[gnu::noinline]] void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
  using namespace velmora::testing;
  void *const memory = Deal() ? std::malloc(std::max<std::size_t>(size, 1)) : nullptr;
  if (memory != nullptr) bytes_in_use += static_cast<long>(malloc_usable_size(memory));
  most_bytes_in_use = std::max(most_bytes_in_use, bytes_in_use);
  return memory;
}
void *operator new(std::size_t size) {
  for (;;) {
    if (void *const memory = operator new(size, std::nothrow)) return memory;
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}
[[gnu::noinline]] void operator delete(void *memory) noexcept {
  const std::size_t size = malloc_usable_size(memory);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  // A use of what is gone is to be noticed, as sanitizers notice it by themselves; plain writes to
  // it would be optimised away.
  auto *const bytes = static_cast<volatile unsigned char *>(memory);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = 0xA5;
#endif
  velmora::testing::bytes_in_use -= static_cast<long>(size);
  std::free(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
  operator delete(memory);
}
