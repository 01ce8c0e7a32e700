// Makes rulesets from lists, by way of their compiled form in a cache folder.
//
// The cache holds one file for each set of list names; it is used when it carries the fingerprint
// of the lists' content, and written anew otherwise. Mapped files are shared between processes.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "compiler.h"
#include "ruleset.h"

namespace velmora::adblock {

/// The user's cache folder for compiled lists; for a service, which has no home, the
/// one that the installation made. Empty when there is none.
std::string CacheFolder();

/// The file in `folder` for these lists.
std::string CacheFile(const std::string &folder, const std::vector<ListText> &lists);

struct LoadedRules {
  std::unique_ptr<Ruleset> rules;
  bool from_cache = false;
};

/// Without a `cache_folder`, or where it cannot be written, the compiled form stays in memory.
LoadedRules LoadRules(const std::vector<ListText> &lists, const std::string &cache_folder);

/// The lists with their counts, and the sizes, as text for people.
std::string DescribeRules(const Ruleset &rules);

}  // namespace velmora::adblock
