#include "host/policy_file.h"

#include <exception>
#include <utility>

namespace velmora::host {

PolicyFile::PolicyFile(std::filesystem::path file)
    : file_(std::move(file)), current_(std::make_shared<const Policy>(ReadPolicy(file_))) {}

std::shared_ptr<const Policy> PolicyFile::Current() const {
  const std::lock_guard lock(mutex_);
  return current_;
}

std::optional<std::string> PolicyFile::Reload() {
  const std::lock_guard reload_lock(reloading_);
  try {
    auto fresh = std::make_shared<const Policy>(ReadPolicy(file_));
    const std::lock_guard lock(mutex_);
    // The old one goes with `fresh`, after the lock.
    current_.swap(fresh);
    return std::nullopt;
  } catch (const std::exception &error) {
    return error.what();
  }
}

}  // namespace velmora::host
