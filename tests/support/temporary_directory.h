// A directory of its own for a test, and what lies in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

namespace velmora::testing {

class TemporaryDirectory {
 public:
  TemporaryDirectory()
      : path_((std::filesystem::temp_directory_path() / "velmora-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary directory");
  }
  TemporaryDirectory(const TemporaryDirectory &) = delete;
  TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string &path() const { return path_; }

  void Write(const std::string &name, const std::string &bytes) const {
    std::ofstream(path_ + "/" + name, std::ios::binary) << bytes;
  }

  /// Every file below, its path relative to the directory, with its bytes.
  std::map<std::string, std::string> Files() const {
    std::map<std::string, std::string> files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(path_)) {
      if (!entry.is_regular_file()) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      files[entry.path().lexically_relative(path_).string()] =
          std::string(std::istreambuf_iterator<char>(file), {});
    }
    return files;
  }

 private:
  std::string path_;
};

}  // namespace velmora::testing
