// Shell: runs command lines in a fresh folder.
#pragma once

#include <cstdlib>
#include <string>
#include <sys/wait.h>

#include "support/temporary_directory.h"

namespace velmora::command {

struct Result {
  int exit_code;
  std::string output;
  std::string errors;
};

class Shell {
 public:
  /// Runs a line in the folder, where $velmora is the command, $plugin the fake plug-in, $source
  /// the project's folder.
  Result Run(const std::string &line) const {
    const std::string script = "cd " + folder_.path() +
                               " && velmora='timeout 60 " COMMAND_PATH "' plugin='" FAKE_PLUGIN
                               "' source='" SOURCE "' examples='" SOURCE "/examples' && { " +
                               line + "\n} >.output 2>.errors </dev/null";
    const int status = std::system(script.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Read(".output"), Read(".errors")};
  }
  /// Runs "velmora filter" with the fake plug-in.
  Result Filter(const std::string &arguments) const {
    return Run("$velmora filter --plugin $plugin " + arguments);
  }
  void Write(const std::string &name, const std::string &text) const { folder_.Write(name, text); }
  std::string Read(const std::string &name) const { return folder_.Read(name); }
  const std::string &Folder() const { return folder_.path(); }
  /// The names in the folder that do not begin with a dot, a line each.
  std::string List() const { return Run("ls").output; }

 private:
  testing::TemporaryDirectory folder_;
};

}  // namespace velmora::command
