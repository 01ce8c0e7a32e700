#include "host/policy/file_watch.h"

#include <sys/stat.h>

namespace velmora::host {

FileWatch::State FileWatch::Look() const noexcept {
  struct stat status;
  if (file_.empty() || stat(file_.c_str(), &status) != 0) return {};
  return {static_cast<std::int64_t>(status.st_ino), status.st_size, status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec};
}

bool FileWatch::HasChanged() noexcept {
  const auto now = std::chrono::steady_clock::now();
  if (now < next_look_) return false;
  next_look_ = now + INTERVAL;
  const State state = Look();
  return std::exchange(known_, state) != state;
}

}  // namespace velmora::host
