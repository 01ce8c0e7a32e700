// Files and the debugger's output, as the log and the captures need them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>

#include "base/descriptor.h"

namespace velmora::platform {

inline constexpr char PATH_SEPARATOR = '/';

/// `write`, with interrupted calls repeated. What else it would say by a signal, that nobody reads
/// the pipe or that the file may not grow, is an error like others: no process dies of it.
ssize_t WriteWithoutSignal(int descriptor, const void *bytes, std::size_t count) noexcept;
/// `ftruncate`, likewise.
int SetSizeWithoutSignal(int descriptor, off_t size) noexcept;

/// Writes one line to the debugger's output, which is standard error here, with one system call.
void WriteDebuggerOutput(std::string_view line) noexcept;

/// A file that is written from its beginning to its end, closed on exec. Nothing waits for the
/// reader of a pipe that stands in its place, and write errors are ignored. Unbuffered.
class OutputFile {
 public:
  OutputFile() = default;
  /// Opens or creates, mode 0640, to write after what is there. `IsOpen` tells whether it worked,
  /// here and below.
  static OutputFile AppendTo(const std::string &path) noexcept;
  /// Creates or empties.
  static OutputFile Replace(const std::string &path) noexcept;

  bool IsOpen() const noexcept { return descriptor_.IsOpen(); }
  /// One system call, as long as the file takes all of it.
  void Write(std::string_view bytes) noexcept;
  void Write(std::span<const std::uint8_t> bytes) noexcept {
    Write(std::string_view(reinterpret_cast<const char *>(bytes.data()), bytes.size()));
  }

 private:
  explicit OutputFile(base::Descriptor descriptor) noexcept : descriptor_(std::move(descriptor)) {}

  base::Descriptor descriptor_;
};

/// The bytes of a file, as far as they can be read; none of what is not there or is no plain file.
std::string ReadFile(const std::string &path);

/// Makes a directory; one that is there already, or cannot be made, is no matter.
void MakeDirectory(const std::string &path) noexcept;

}  // namespace velmora::platform
