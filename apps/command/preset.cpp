// velmora preset: another preset than the policy's, at once and until it is taken back.
#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <string>

#include "command/answers/files.h"
#include "command/commands.h"
#include "host/policy/chosen_preset.h"
#include "host/policy/policy.h"

namespace velmora::command {
namespace {

struct PresetOptions {
  std::string policy = host::DefaultPolicy();
  std::string preset;
  bool is_as_policy = false;
};

int Preset(const PresetOptions &options) {
  const host::Policy policy = host::ReadPolicy(options.policy);
  try {
    if (options.is_as_policy || !options.preset.empty()) {
      host::ChoosePreset(policy, options.preset);
    }
  } catch (const std::invalid_argument &error) {
    throw UsageError(error.what());
  }
  const std::string chosen = host::ChosenPreset(policy);
  const std::string now(host::ReadPolicy(options.policy).For("", "").categories.Preset());
  Output output({});
  output.Write(chosen.empty() ? fmt::format("as the policy says: {}\n",
                                            now.empty() ? "a choice of its own" : now)
                              : chosen + ", chosen in the policy's place\n");
  output.Finish();
  return EXIT_OK;
}

}  // namespace

void AddPreset(CLI::App &application, Action &action) {
  CLI::App &command =
      *application.add_subcommand("preset", "Choose another preset while the filter runs");
  const auto options = std::make_shared<PresetOptions>();
  const auto preset = command
                          .add_option("PRESET", options->preset,
                                      "calm, strict, classic or still (default: say which)")
                          ->type_name("");
  command.add_flag("--as-policy", options->is_as_policy, "The policy's own again")
      ->excludes(preset);
  command.add_option("--policy", options->policy, "The policy in whose [filter] place it stands")
      ->type_name("FILE")
      ->capture_default_str();
  command.footer(
      "Rules of the policy and what was allowed stay above it. A running proxy takes it within a "
      "second.");
  command.callback([options, &action] { action = [options] { return Preset(*options); }; });
}

}  // namespace velmora::command
