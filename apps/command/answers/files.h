// The files that a sub-command reads and writes.
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace velmora::command {

/// The name that stands for standard input.
inline constexpr char STANDARD_INPUT[] = "-";

struct FileCloser {
  void operator()(std::FILE *file) const noexcept { std::fclose(file); }
};

/// Throws `std::system_error` when something goes wrong.
class Input {
 public:
  /// `STANDARD_INPUT` or a file.
  explicit Input(const std::string &name);
  /// The next `size` bytes; fewer only at the end, none after it.
  std::string Read(std::size_t size);

 private:
  std::unique_ptr<std::FILE, FileCloser> opened_;
  std::FILE *file_;
};

/// Throws `std::system_error` when something goes wrong. A file appears under its name only when
/// all of it is written, so that an output may take its own input's place; what a signal ends
/// early leaves no trace.
class Output {
 public:
  /// An empty path is standard output.
  explicit Output(const std::filesystem::path &path);
  Output(const Output &) = delete;
  Output &operator=(const Output &) = delete;
  ~Output();

  void Write(std::string_view bytes);
  /// Everything is written.
  void Finish();

 private:
  std::filesystem::path path_;
  /// The name while the file grows; empty when it is written in place.
  std::filesystem::path temporary_;
  std::unique_ptr<std::FILE, FileCloser> opened_;
  std::FILE *file_;
};

}  // namespace velmora::command
