// FileWatch: looks from time to time whether a file is another than before.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <utility>

namespace velmora::host {

/// One thread's at a time.
class FileWatch {
 public:
  static constexpr std::chrono::milliseconds INTERVAL{500};

  FileWatch() = default;
  /// A file that need not be there; an empty path never changes.
  explicit FileWatch(std::filesystem::path file) : file_(std::move(file)), known_(Look()) {}

  const std::filesystem::path &File() const noexcept { return file_; }
  /// Once for each state of the file, an interval after the last look at the earliest.
  bool HasChanged() noexcept;
  /// It has changed, whatever it is.
  void Forget() noexcept {
    known_ = UNKNOWN;
    next_look_ = {};
  }

 private:
  using State = std::array<std::int64_t, 4>;
  /// No file has it.
  static constexpr State UNKNOWN = {-1};

  State Look() const noexcept;

  std::filesystem::path file_;
  State known_{};
  std::chrono::steady_clock::time_point next_look_{};
};

}  // namespace velmora::host
