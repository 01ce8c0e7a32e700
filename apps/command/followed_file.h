// FollowedFile: the lines of a file that grows, is cut, or gives way to a new one of its name.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace velmora::command {

class FollowedFile {
 public:
  /// Throws `std::system_error` when the file cannot be opened.
  explicit FollowedFile(std::filesystem::path path);
  FollowedFile(const FollowedFile &) = delete;
  FollowedFile &operator=(const FollowedFile &) = delete;
  ~FollowedFile();

  /// The complete lines that came since the last call, at most some MiB of them at a time, without
  /// their line feeds; empty when there are none. What an old file still had comes before a new
  /// one's. Throws `std::system_error` when the file cannot be read.
  std::vector<std::string> NextLines();

 private:
  /// Answers whether there is more to read.
  bool ReadMore();
  bool ReadPastRotation();
  /// Another file has the name now.
  bool HasNewFile() const noexcept;
  bool GoToNewFile();

  const std::filesystem::path path_;
  int descriptor_;
  off_t position_ = 0;
  /// Of a line that is not complete.
  std::string rest_;
};

}  // namespace velmora::command
