// Where lists come from.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "compiler.h"

namespace velmora::adblock {

/// Names files and folders of lists, colon-separated; stands above every other choice.
inline constexpr char LISTS_VARIABLE[] = "VEXLAR_LISTS";
inline constexpr char BUILT_IN_LIST_NAME[] = "built-in list";

/// A small list for systems that have none.
extern const std::string_view BUILT_IN_LIST;

/// The known list files that the system's packages have installed.
std::vector<std::string> InstalledLists();

struct Sources {
  std::vector<ListText> lists;
  /// One line for each list that could not be read.
  std::vector<std::string> problems;
};

/// Reads the files, and the files of the folders, that `paths` names, colon-separated.
Sources ReadPaths(std::string_view paths);

/// Reads the lists that `LISTS_VARIABLE` names, else those of `choice`, else the installed ones,
/// else the built-in one.
Sources ReadSources(std::string_view choice);

}  // namespace velmora::adblock
