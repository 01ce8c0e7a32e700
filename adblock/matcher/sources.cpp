#include "sources.h"

#include <algorithm>

#include "files.h"
#include "text.h"

namespace velmora::adblock {
namespace {

/// Where Debian's package webext-ublock-origin-firefox keeps the lists that it carries, and which
/// of its files are lists.
constexpr const char *INSTALLED_FOLDERS[] = {
    "/usr/share/mozilla/extensions/{ec8030f7-c20a-464f-9b0e-13a3a9e97384}/"
    "uBlock0@raymondhill.net/assets/",
    "/usr/share/webext/ublock-origin/assets/",
    "/usr/share/webext/ublock-origin-firefox/assets/",
};
constexpr const char *INSTALLED_FILES[] = {
    "thirdparties/easylist/easylist.txt",
    "thirdparties/easylist/easyprivacy.txt",
    "thirdparties/urlhaus-filter/urlhaus-filter-online.txt",
    "ublock/filters.min.txt",
    "ublock/badware.min.txt",
    "ublock/privacy.min.txt",
    "ublock/quick-fixes.min.txt",
    "ublock/unbreak.min.txt",
};

void Read(const std::string &path, Sources *sources) {
  std::string problem;
  if (auto text = ReadFile(path, &problem)) {
    sources->lists.push_back({path, *std::move(text)});
  } else {
    sources->problems.push_back(path + ": " + problem);
  }
}

}  // namespace

std::vector<std::string> InstalledLists() {
  std::vector<std::string> lists;
  for (const std::string folder : INSTALLED_FOLDERS) {
    for (const char *file : INSTALLED_FILES) {
      if (IsFile(folder + file)) lists.push_back(folder + file);
    }
    if (!lists.empty()) break;
  }
  return lists;
}

Sources ReadPaths(std::string_view paths) {
  Sources sources;
  while (!paths.empty()) {
    const std::string path(CutPiece(paths, ':'));
    if (path.empty()) continue;
    if (!IsFolder(path)) {
      Read(path, &sources);
      continue;
    }
    const std::vector<std::string> files = FilesOfFolder(path);
    if (files.empty()) sources.problems.push_back(path + ": no lists in this folder");
    for (const std::string &file : files) Read(file, &sources);
  }
  return sources;
}

Sources ReadSources(std::string_view choice) {
  const std::string variable = Environment(LISTS_VARIABLE);
  if (!variable.empty()) return ReadPaths(variable);
  if (!choice.empty()) return ReadPaths(choice);
  Sources sources;
  for (const std::string &path : InstalledLists()) Read(path, &sources);
  if (sources.lists.empty()) {
    sources.lists.push_back({BUILT_IN_LIST_NAME, std::string(BUILT_IN_LIST)});
  }
  return sources;
}

}  // namespace velmora::adblock
