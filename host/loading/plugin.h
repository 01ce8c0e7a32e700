// Plugin: the loaded plug-in, and the ad-blocking library that it works with.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <velmora/data_processor.h>

#include "host/loading/loaded_module.h"

struct VexlarRequest;
struct VexlarRules;
struct VexlarReason;
enum VexlarVerdict : std::uint32_t;

namespace velmora::host {

using ProcessorPointer = CountedPointer<IDataProcessor>;

struct AdLibraryOptions {
  bool is_used = true;
  /// Empty: the one beside the plug-in, if there is one.
  std::filesystem::path library{};
  /// Files and folders of lists; empty: those that the library finds itself.
  std::vector<std::filesystem::path> lists{};
  /// More of them, beside those.
  std::vector<std::filesystem::path> extra_lists{};
  /// Rules beside all lists, each as a line of a list.
  std::vector<std::string> rules{};
  /// What reports call the list that these make.
  std::string rules_name{};

  bool ChoosesLists() const noexcept {
    return !lists.empty() || !extra_lists.empty() || !rules.empty();
  }
};

/// A list that the ad-blocking library uses.
struct AdList {
  std::string name;
  /// How it came to be used: "named in the policy", ...
  std::string_view origin;
  std::uint32_t rules;
};

struct AdLists {
  std::vector<AdList> lists{};
  /// In force in all; a rule that two lists have counts once.
  std::uint32_t rules = 0;
  /// What went wrong when they were read, such as a list that is not there.
  std::vector<std::string> problems{};
};

/// A request that an ad-blocking library is to judge, as <vexlar/requests.h> has it.
struct AdRequest {
  std::string_view url{};
  std::string_view page{};
  std::string_view method{};
  std::uint32_t types = 0;
};

struct AdVerdict {
  enum class Kind { NONE, BLOCKED, ALLOWED };

  Kind kind = Kind::NONE;
  /// The rule that has decided, and where it stands.
  std::string rule{};
  std::string list{};
  std::uint32_t line = 0;
};

/// Lists that are asked by themselves; they keep the library that reads them.
using AdRules = std::shared_ptr<const VexlarRules>;

/// Which lists judge: those of one's own, the last of them first, and where they say nothing, those
/// that are in force for all.
struct AdListChain {
  std::vector<AdRules> own{};
  bool has_general = true;
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

  /// Other lists and rules for the ad-blocking library, or the same again. They take over as a
  /// whole, while processors work: what these ask from then on is answered by the new ones. Throws
  /// `LoadError` when they hold no rule: then those before stay in force.
  void UseAdLists(const AdLibraryOptions &ads) const;
  /// The lists in force; none when there is no library, or one that does not tell.
  AdLists ListsInForce() const;

  /// There is a library, and it judges requests.
  bool CanJudge() const noexcept { return judge_ != nullptr; }
  /// None without such a library.
  AdVerdict Judge(const AdRequest &request, const AdListChain &lists = {}) const;
  /// Reads lists and rules, and none of the system's. Throws `LoadError` when they hold no rule,
  /// and when the library cannot do that; null without a library.
  AdRules OpenRules(const AdLibraryOptions &ads) const;

 private:
  using JudgeFunction = VexlarVerdict (*)(const VexlarRequest *, VexlarReason *);
  using JudgeByFunction = VexlarVerdict (*)(const VexlarRules *, const VexlarRequest *,
                                            VexlarReason *);

  void CheckModules();

  std::shared_ptr<const Module> ad_library_;
  JudgeFunction judge_ = nullptr;
  JudgeByFunction judge_by_ = nullptr;
  Module module_;
  CountedPointer<IDataProcessorFactory> factory_;
};

/// The plug-in's file beside the running program or library, as it is built; where there is none,
/// its place in the installation that this is a part of.
std::filesystem::path DefaultPlugin();

}  // namespace velmora::host
