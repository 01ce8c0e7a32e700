#include "command/jobs.h"

#include <algorithm>
#include <set>

#include "command/answers/files.h"
#include "command/body_type.h"
#include "command/commands.h"

namespace velmora::command {
namespace {

namespace fs = std::filesystem;

/// A file with its place below an output folder.
struct Source {
  std::string name;
  fs::path place;
};

bool IsBelow(const fs::path &path, const fs::path &folder) {
  return std::ranges::mismatch(folder, path).in1 == folder.end();
}

/// The files of a folder in the order of their names, without results of an earlier time.
void AddFolder(const std::string &name, const fs::path &output, std::vector<Source> &sources) {
  const fs::path folder = fs::weakly_canonical(name);
  const fs::path results = output.empty() ? fs::path() : fs::weakly_canonical(output);
  const bool has_results = !results.empty() && results != folder && IsBelow(results, folder);
  const std::size_t begin = sources.size();
  for (auto entry = fs::recursive_directory_iterator(name); entry != end(entry); ++entry) {
    if (has_results && fs::weakly_canonical(entry->path()) == results) {
      entry.disable_recursion_pending();
    } else if (entry->is_regular_file()) {
      sources.push_back({entry->path().string(), entry->path().lexically_relative(name)});
    }
  }
  std::sort(sources.begin() + static_cast<std::ptrdiff_t>(begin), sources.end(),
            [](const Source &a, const Source &b) { return a.place < b.place; });
}

/// The folder named with -o is made, and those in it; the one that it lies in is the user's.
void CheckOutput(const fs::path &output, bool is_folder) {
  if (output.empty()) return;
  if (is_folder && fs::exists(output) && !fs::is_directory(output)) {
    throw UsageError("-o: " + output.string() + " is no folder");
  }
  const fs::path parent = (output.has_filename() ? output : output.parent_path()).parent_path();
  if (!parent.empty() && !fs::is_directory(parent)) {
    throw UsageError("-o: there is no folder " + parent.string());
  }
}

}  // namespace

std::vector<Job> PlanJobs(const std::vector<std::string> &names, const fs::path &output,
                          bool is_optional, bool are_decoded) {
  std::vector<Source> sources;
  bool has_folder = false;
  for (const std::string &name : names) {
    if (name != STANDARD_INPUT && fs::is_directory(name)) {
      has_folder = true;
      AddFolder(name, output, sources);
    } else {
      sources.push_back({name, fs::path(name).filename()});
    }
  }
  const bool are_several = has_folder || sources.size() > 1;
  if (output.empty() && are_several && !is_optional) throw UsageError("several files need -o DIR");

  const bool is_folder = are_several || !output.has_filename() || fs::is_directory(output);
  CheckOutput(output, is_folder);
  std::vector<Job> jobs;
  std::set<fs::path> taken;
  for (const Source &source : sources) {
    if (output.empty() || !is_folder) {
      jobs.push_back({source.name, output, output});
      continue;
    }
    if (source.name == STANDARD_INPUT) {
      throw UsageError("-o: standard input has no name in a folder");
    }
    const fs::path coded = output / source.place;
    const NamedBody named = BodyOfName(coded.native());
    const bool changes_name = are_decoded && !named.type.empty();
    jobs.push_back({source.name, changes_name ? fs::path(named.plain_name) : coded, coded});
    if (!taken.insert(jobs.back().output).second) {
      throw UsageError("two files would become " + jobs.back().output.string());
    }
  }
  return jobs;
}

}  // namespace velmora::command
