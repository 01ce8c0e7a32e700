// The files of an event log: the one that is written to, and what became of it by rotation.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "store/line_splitter.h"

struct gzFile_s;

namespace velmora::store {

/// The log and its rotated files in its folder, the one that was rotated first in front and the log
/// itself last; of those there are.
std::vector<std::filesystem::path> FilesOfLog(const std::filesystem::path &log);

/// Reads a file of a log, compressed with gzip or not. Functions throw `std::system_error` and, for
/// a damaged file, `std::runtime_error`.
class LogFile {
 public:
  explicit LogFile(const std::filesystem::path &file);

  /// What tells this file from others and stays when it is renamed, compressed or copied: a digest
  /// of its first line, or of its beginning where that is long. Empty while there is no whole line.
  std::string FirstLine();

  /// Goes to a position from the beginning, compression taken off; answers false where the file
  /// does not go so far.
  bool Seek(std::int64_t position);
  /// Adds the next lines; false when there are no more whole ones for now.
  bool Read(std::vector<std::string> &lines);
  /// Where the first line begins that was not read whole.
  std::int64_t Position() const noexcept { return position_; }

  bool IsCompressed() const noexcept;
  /// As it lies on the disk.
  std::int64_t Size() const;

 private:
  struct Closer {
    void operator()(gzFile_s *file) const noexcept;
  };
  std::string ReadPiece(std::size_t size);

  const std::filesystem::path path_;
  /// The file's, which is `file_`'s to close.
  int descriptor_ = -1;
  std::unique_ptr<gzFile_s, Closer> file_;
  LineSplitter splitter_;
  std::int64_t position_ = 0;
  /// Read beyond `position_`.
  std::int64_t begun_ = 0;
};

}  // namespace velmora::store
