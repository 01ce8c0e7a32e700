// PolicyFile: the policy that is in force, read again on request.
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/policy.h"

namespace velmora::host {

/// Used by any number of threads at once. A transaction asks for the policy once and keeps it to
/// its end.
class PolicyFile {
 public:
  /// Throws `PolicyError`: without any policy there is nothing to go on with.
  explicit PolicyFile(std::filesystem::path file);

  const std::filesystem::path &File() const noexcept { return file_; }
  /// Never null.
  std::shared_ptr<const Policy> Current() const;
  /// Reads the file again. A file that cannot be used leaves the old policy in force; the answer
  /// says what is wrong with it. Two at once follow one another.
  std::optional<std::string> Reload();

 private:
  const std::filesystem::path file_;
  std::mutex reloading_;
  mutable std::mutex mutex_;
  std::shared_ptr<const Policy> current_;
};

}  // namespace velmora::host
