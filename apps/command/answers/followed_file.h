// FollowedFile: the lines of a file that grows, is cut, or gives way to a new one of its name.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

#include "base/descriptor.h"
#include "store/line_splitter.h"

namespace velmora::command {

class FollowedFile {
 public:
  /// Throws `std::system_error` when the file cannot be opened.
  explicit FollowedFile(std::filesystem::path path);

  /// Before anything is read: leaves out all but so many bytes. The first line then is a part of
  /// one.
  void SkipToLast(off_t bytes);
  /// Adds the lines that the next bytes complete; false when there are no more bytes for now.
  bool Read(std::vector<std::string> &lines);

 private:
  /// These answer whether there was something to read.
  bool ReadMore(std::vector<std::string> &lines);
  bool ReadPastRotation(std::vector<std::string> &lines);
  bool HasNewFile() const noexcept;
  bool GoToNewFile();

  const std::filesystem::path path_;
  base::Descriptor descriptor_;
  off_t position_ = 0;
  std::string bytes_;
  store::LineSplitter splitter_;
};

}  // namespace velmora::command
