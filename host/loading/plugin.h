// Plugin: the loaded plug-in, and the ad-blocking library that it works with.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include <velmora/data_processor.h>

#include "host/loading/module.h"

namespace velmora::host {

using ProcessorPointer = CountedPtr<IDataProcessor>;

struct AdLibraryOptions {
  bool is_used = true;
  /// Empty: the one beside the plug-in, if there is one.
  std::filesystem::path library{};
  /// Files and folders of lists; empty: those that the library finds itself.
  std::vector<std::filesystem::path> lists{};
};

/// One a process; any number of threads make processors at once. It outlives them all. The
/// ad-blocking library is loaded first and unloaded last, because the plug-in binds to it while it
/// is loaded itself.
class Plugin {
 public:
  /// Throws `LoadError` when a file is missing or does not answer as it should.
  explicit Plugin(const std::filesystem::path &file,
                  const std::optional<std::filesystem::path> &ad_library = std::nullopt);

  Plugin(const std::filesystem::path &file, const AdLibraryOptions &ads);

  /// A processor for one transaction; null when memory cannot be had.
  ProcessorPointer CreateProcessor() const noexcept;

  /// Other lists for the ad-blocking library, or the same again; empty: those that it finds itself.
  /// They take over as a whole, while processors work. Throws `LoadError` when they hold no rule:
  /// then those before stay in force.
  void UseAdLists(const std::vector<std::filesystem::path> &lists) const;

 private:
  void CheckProcessors() const;

  std::optional<Module> ad_library_;
  Module module_;
  CountedPtr<IDataProcessorFactory> factory_;
};

/// The plug-in's file beside the running program, as it is built; where there is none, its place in
/// the installation that the program belongs to.
std::filesystem::path DefaultPlugin();

}  // namespace velmora::host
