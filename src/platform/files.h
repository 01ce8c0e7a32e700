// Files, as the log and the captures need them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace velmora::platform {

inline constexpr char PATH_SEPARATOR = '/';

/// A file that is only ever appended to, closed on exec, mode 0640. Write errors are ignored.
class AppendFile {
 public:
  AppendFile() = default;
  /// Opens or creates; `IsOpen` tells whether that worked.
  explicit AppendFile(const std::string &path) noexcept;
  AppendFile(AppendFile &&other) noexcept;
  AppendFile &operator=(AppendFile &&other) noexcept;
  ~AppendFile();

  bool IsOpen() const noexcept { return descriptor_ >= 0; }
  void Write(std::string_view bytes) noexcept;

 private:
  int descriptor_ = -1;
};

struct StreamCloser {
  void operator()(std::FILE *stream) const noexcept { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

/// A file that is written anew: created or emptied, buffered, flushed when it is closed. Write
/// errors are ignored.
class OutputFile {
 public:
  OutputFile() = default;
  /// `IsOpen` tells whether that worked.
  explicit OutputFile(const std::string &path) noexcept;

  bool IsOpen() const noexcept { return stream_ != nullptr; }
  void Write(std::span<const std::uint8_t> bytes) noexcept;

 private:
  Stream stream_;
};

/// The bytes of a file, as far as they can be read; none of a file that is not there.
std::string ReadFile(const std::string &path);

/// Makes a directory; one that is there already, or cannot be made, is no matter.
void MakeDirectory(const std::string &path) noexcept;

}  // namespace velmora::platform
