// A directory of its own for a test, and what lies in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace velmora::testing {

inline std::string ReadBytes(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

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

  /// Of what is in it, there or not.
  std::string Path(const std::string &name) const { return path_ + "/" + name; }
  /// The file's path.
  std::string Write(const std::string &name, std::string_view bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
    return Path(name);
  }
  std::string Read(const std::string &name) const { return ReadBytes(Path(name)); }

  /// Every file below, its path relative to the directory, with its bytes.
  std::map<std::string, std::string> Files() const {
    std::map<std::string, std::string> files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(path_)) {
      if (!entry.is_regular_file()) continue;
      files[entry.path().lexically_relative(path_).string()] = ReadBytes(entry.path());
    }
    return files;
  }

 private:
  std::string path_;
};

}  // namespace velmora::testing
