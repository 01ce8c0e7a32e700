// BodyFilter: takes saved bodies through the plug-in, on the way that a proxy takes them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "command/jobs.h"
#include "command/report.h"
#include "host/bodies/body_stream.h"
#include "host/loading/plugin.h"
#include "host/policy/policy.h"

namespace velmora::command {

struct FilterOptions {
  std::vector<std::string> files{};
  std::string type{};
  std::string charset{};
  std::string coding{};
  /// The plug-in gets the bytes and the type as they are.
  bool is_raw = false;
  std::string url{};
  std::string client{};
  host::CategorySet block = host::CategorySet::Default();
  host::CategorySet allow{};
  std::vector<std::string> settings{};
  std::uint32_t chunk_size = host::StreamOptions().slice_size;
  std::optional<std::uint64_t> max_held{};
  /// As in policies: "10s"; empty: the policy's.
  std::string max_time{};
  std::filesystem::path output{};
  std::filesystem::path policy{};
  std::string report = "text";
  bool is_diff = false;
  bool is_quiet = false;
  bool is_logging = false;
  std::optional<std::filesystem::path> ad_library{};
  std::vector<std::string> ad_lists{};
  bool has_no_ads = false;
  std::optional<std::filesystem::path> plugin{};
};

class BodyFilter {
 public:
  /// The options outlive it. Throws `UsageError`, `host::PolicyError` and `host::LoadError`.
  explicit BodyFilter(const FilterOptions &options);

  /// Filters a file, reports what is blocked, and adds all of it up. Throws when the file cannot be
  /// read, filtered or written.
  FileResult FilterFile(const Job &job, std::string_view shown_name, Report &report,
                        Totals &totals) const;

 private:
  struct Body;

  /// Finds out what the body is.
  void Describe(const std::string &name, Body &body) const;

  const FilterOptions &options_;
  host::Policy policy_;
  host::PolicyAnswer answer_;
  host::Plugin plugin_;
};

}  // namespace velmora::command
