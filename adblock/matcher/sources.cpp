#include "sources.h"

#include <algorithm>

#include "files.h"
#include "text.h"

namespace velmora::adblock {
namespace {

/// Where Debian's package webext-ublock-origin-firefox keeps the lists that it carries, or this
/// project's velmora-lists the same ones, and which of the files are lists.
constexpr const char *INSTALLED_FOLDERS[] = {
    ("/usr/share/mozilla/extensions/{ec8030f7-c20a-464f-9b0e-13a3a9e97384}/"
     "uBlock0@raymondhill.net/assets/"),
    "/usr/share/webext/ublock-origin/assets/",
    "/usr/share/webext/ublock-origin-firefox/assets/",
    "/usr/share/velmora/lists/",
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

void ReadList(const std::string &path, Origin origin, Sources *sources) {
  std::string problem;
  if (auto text = ReadFile(path, &problem)) {
    sources->lists.push_back({path, *std::move(text), origin});
  } else {
    sources->problems.push_back(path + ": " + problem);
  }
}

void ReadFilesAndFolders(const std::vector<std::string> &paths, Origin origin, Sources *sources) {
  for (const std::string &path : paths) {
    if (!IsFolder(path)) {
      ReadList(path, origin, sources);
      continue;
    }
    const std::vector<std::string> files = FilesOfFolder(path);
    if (files.empty()) sources->problems.push_back(path + ": no lists in this folder");
    for (const std::string &file : files) ReadList(file, origin, sources);
  }
}

void ReadSystemLists(Sources *sources) {
  for (const std::string &path : InstalledLists()) ReadList(path, Origin::kInstalled, sources);
  if (sources->lists.empty()) {
    sources->lists.push_back({BUILT_IN_LIST_NAME, std::string(BUILT_IN_LIST), Origin::kBuiltIn});
  }
}

void ReadWhatIsAdded(const Choice &choice, Sources *sources) {
  ReadFilesAndFolders(choice.extra_lists, Origin::kExtra, sources);
  if (!choice.rules.empty()) {
    sources->lists.push_back({choice.rules_name, choice.rules, Origin::kRules});
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

std::vector<std::string> SplitPaths(std::string_view paths) {
  std::vector<std::string> split;
  while (!paths.empty()) {
    std::string path(CutPiece(paths, ':'));
    if (!path.empty()) split.push_back(std::move(path));
  }
  return split;
}

Sources ReadPaths(std::string_view paths) {
  Sources sources;
  ReadFilesAndFolders(SplitPaths(paths), Origin::kChosen, &sources);
  return sources;
}

Sources ReadChosen(const Choice &choice) {
  Sources sources;
  ReadFilesAndFolders(choice.lists, Origin::kChosen, &sources);
  ReadWhatIsAdded(choice, &sources);
  return sources;
}

Sources ReadSources(const Choice &choice) {
  Sources sources;
  const std::vector<std::string> named = SplitPaths(Environment(LISTS_VARIABLE));
  if (!named.empty()) {
    ReadFilesAndFolders(named, Origin::kEnvironment, &sources);
  } else if (!choice.lists.empty()) {
    ReadFilesAndFolders(choice.lists, Origin::kChosen, &sources);
  } else {
    ReadSystemLists(&sources);
  }
  ReadWhatIsAdded(choice, &sources);
  return sources;
}

}  // namespace velmora::adblock
