// Files, as the log and the captures need them.
#pragma once

#include <cstdio>
#include <memory>
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

}  // namespace velmora::platform
