// Shell: runs command lines in a fresh folder.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdlib.h>
#include <string>
#include <string_view>
#include <sys/wait.h>

namespace velmora::command {

struct Result {
  int exit_code;
  std::string output;
  std::string errors;
};

class Shell {
 public:
  Shell() {
    std::string name = std::filesystem::temp_directory_path() / "velmora-apps-XXXXXX";
    folder_ = mkdtemp(name.data());
  }
  Shell(const Shell &) = delete;
  Shell &operator=(const Shell &) = delete;
  ~Shell() { std::filesystem::remove_all(folder_); }

  /// Runs a line in the folder, where $velmora is the command and $plugin the fake plug-in.
  Result Run(const std::string &line) const {
    const std::string script = "cd " + folder_.string() +
                               " && velmora='timeout 60 " COMMAND_PATH "' plugin='" FAKE_PLUGIN
                               "' examples='" EXAMPLES "' && { " +
                               line + "\n} >.output 2>.errors </dev/null";
    const int status = std::system(script.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Read(".output"), Read(".errors")};
  }
  void Write(const std::string &name, std::string_view text) const {
    std::ofstream(folder_ / name, std::ios::binary) << text;
  }
  std::string Read(const std::string &name) const {
    std::ostringstream text;
    text << std::ifstream(folder_ / name, std::ios::binary).rdbuf();
    return text.str();
  }
  const std::filesystem::path &Folder() const { return folder_; }
  /// The names in the folder that do not begin with a dot, with blanks between.
  std::string List() const { return Run("ls").output; }

 private:
  std::filesystem::path folder_;
};

}  // namespace velmora::command
