// Where lists come from.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "compiler.h"

namespace velmora::adblock {

/// Names files and folders of lists, colon-separated, to be read in the place of all others.
inline constexpr char LISTS_VARIABLE[] = "VEXLAR_LISTS";
inline constexpr char BUILT_IN_LIST_NAME[] = "built-in list";

/// A small list for systems that have none.
extern const std::string_view BUILT_IN_LIST;

/// The known list files that the system's packages have installed.
std::vector<std::string> InstalledLists();

/// What a host has chosen.
struct Choice {
  /// Files and folders in the place of those that the system has; none: the system's.
  std::vector<std::string> lists{};
  /// Files and folders that are read after them.
  std::vector<std::string> extra_lists{};
  /// Lines of a list, read last, and what reports call them.
  std::string rules{};
  std::string rules_name{};
};

struct Sources {
  std::vector<ListText> lists{};
  /// One line for each list that could not be read.
  std::vector<std::string> problems{};
};

/// The pieces of `paths` between its colons.
std::vector<std::string> SplitPaths(std::string_view paths);

/// Reads the files, and the files of the folders, that `paths` names, colon-separated.
Sources ReadPaths(std::string_view paths);

/// Reads what `choice` names, and nothing else.
Sources ReadChosen(const Choice &choice);

/// Reads the lists that `LISTS_VARIABLE` names, else those of `choice`, else the installed ones,
/// else the built-in one; and after them what `choice` adds.
Sources ReadSources(const Choice &choice);

}  // namespace velmora::adblock
