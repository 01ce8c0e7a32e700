// MemoryWatch: notices allocations that fail, though those who made them go on without a word.
//
// The plug-in lets a body pass when it is in want of memory, and tells nobody. But all its memory
// comes by way of `operator new`, or is asked for in the same manner: and before that gives up, it
// calls the process's new-handler.
#pragma once

namespace velmora::host {

/// Watches its thread while it stands; one may stand within another, which then sees nothing of
/// what the inner one sees. The first one of a process puts a new-handler in front of the one that
/// was there, which goes on to serve all that is not watched.
class MemoryWatch {
 public:
  MemoryWatch() noexcept;
  ~MemoryWatch();
  MemoryWatch(const MemoryWatch &) = delete;
  MemoryWatch &operator=(const MemoryWatch &) = delete;

  bool HasFailed() const noexcept { return has_failed_; }

 private:
  static void OnNoMemory();

  static thread_local MemoryWatch *current;

  MemoryWatch *const outer_;
  bool has_failed_ = false;
};

}  // namespace velmora::host
