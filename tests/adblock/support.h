// Short forms for the tests of the matcher.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "matcher/loader.h"

namespace velmora::adblock::testing {

inline std::vector<ListText> Lists(std::vector<std::string> texts) {
  std::vector<ListText> lists;
  for (std::string &text : texts) {
    lists.push_back({"list " + std::to_string(lists.size() + 1), std::move(text)});
  }
  return lists;
}

inline std::unique_ptr<Ruleset> RulesOf(std::string text) {
  return LoadRules(Lists({std::move(text)}), "").rules;
}

inline std::string_view NameOf(Verdict verdict) {
  constexpr std::string_view NAMES[] = {"none", "blocked", "allowed"};
  return NAMES[static_cast<int>(verdict.kind)];
}

/// A folder of its own for a test, removed at the end.
class TestFolder {
 public:
  TestFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "adblock_test.XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TestFolder() { std::filesystem::remove_all(path_); }
  TestFolder(const TestFolder &) = delete;
  TestFolder &operator=(const TestFolder &) = delete;

  std::string Path(std::string_view name = {}) const {
    return name.empty() ? path_ : path_ + "/" + std::string(name);
  }
  std::string Write(std::string_view name, std::string_view bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
    return Path(name);
  }

 private:
  std::string path_;
};

inline std::string ReadBytes(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace velmora::adblock::testing
