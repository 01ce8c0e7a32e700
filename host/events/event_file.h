// EventFile: where an event log's lines go.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <system_error>
#include <utility>

#include "base/descriptor.h"

namespace velmora::host {

/// A file that lines are appended to, each with one `write`, so that processes may share it. What
/// users visit is nobody else's business: it is made with mode 0640. A pipe will do too.
class EventFile {
 public:
  /// How long a pipe that is full is waited for; a reader that let this pass is not waited for
  /// again until it has taken something.
  static constexpr std::chrono::milliseconds PIPE_PATIENCE{500};

  /// Whoever makes this object is the user that opens the file, whatever user the process has when
  /// `Open` is called: proxies read their configuration as root. An empty path is standard error.
  explicit EventFile(std::filesystem::path path);

  /// The file under its name, made if it is not there; none, and `error`, when that fails. Any
  /// thread.
  base::Descriptor Open(std::error_code &error) const noexcept;

  /// Takes the place of what was written to before. This and the rest is one thread's.
  void Use(base::Descriptor descriptor) noexcept;
  /// A line with its line feed; no error when the file took it as a whole.
  std::error_code Write(std::string line);

  /// For messages.
  std::string Name() const;

 private:
  const std::filesystem::path path_;
  const uid_t user_;
  const gid_t group_;
  base::Descriptor descriptor_;
  /// The file took the beginning of the last line only.
  bool is_line_broken_ = false;
  std::chrono::milliseconds patience_ = PIPE_PATIENCE;
};

}  // namespace velmora::host
