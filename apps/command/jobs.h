// Jobs: which files are filtered, and where the results go.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace velmora::command {

struct Job {
  /// As the user knows it; `STANDARD_INPUT` is that.
  std::string input;
  /// Empty: standard output.
  std::filesystem::path output;
  /// The same for a result that is still in its content coding: a folder tells the two apart.
  std::filesystem::path coded_output;
};

/// The files named, and all those in the folders named, which keep their places below the output
/// folder. `output` may be a file for one file, and empty for one whose result goes to standard
/// output; when `is_optional`, results of several may go nowhere. When
/// they `are_decoded`, "page.html.gz" becomes "page.html" in a folder.
/// The output folder itself may be missing, the one that it lies in may not.
/// Throws `UsageError`, and `std::filesystem::filesystem_error` for folders that cannot be read.
std::vector<Job> PlanJobs(const std::vector<std::string> &names,
                          const std::filesystem::path &output, bool is_optional, bool are_decoded);

}  // namespace velmora::command
