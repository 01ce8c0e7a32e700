// velmora why: what stands behind a block, by its id or by an address.
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "command/answers/files.h"
#include "command/answers/messages.h"
#include "command/answers/story.h"
#include "command/commands.h"
#include "host/policy/policy.h"

namespace velmora::command {
namespace {

constexpr std::size_t WIDTH_OF_NAMES = 14;

struct WhyOptions {
  std::string asked;
  std::string policy = host::DefaultPolicy();
  std::vector<std::string> logs;
};

int Why(WhyOptions options) {
  std::optional<host::Policy> policy;
  if (std::filesystem::exists(options.policy)) policy = host::ReadPolicy(options.policy);
  if (options.logs.empty()) {
    if (!policy || !policy->event_log || policy->event_log->file.empty()) {
      throw std::runtime_error(options.policy + " names no file for the event log; --log does");
    }
    options.logs = {policy->event_log->file.string()};
  }
  FoundEvents found(options.asked);
  for (const std::string &log : options.logs) found.Search(log);
  if (found.Count() == 0) {
    throw std::runtime_error(Printable(options.asked) +
                             ": nothing of that id or address was blocked, as far as the log goes; "
                             "\"velmora ads\" says what the lists have about an address");
  }
  Output output({});
  for (const host::Event &event : found.Events())
    output.Write(Text(Story(event, policy), WIDTH_OF_NAMES));
  if (const std::size_t shown = found.Events().size(); found.Count() > shown) {
    output.Write(fmt::format("and {} times before\n", found.Count() - shown));
  }
  output.Finish();
  return EXIT_OK;
}

}  // namespace

void AddWhy(CLI::App &application, Action &action) {
  CLI::App &command = *application.add_subcommand("why", "Say why something was blocked");
  const auto options = std::make_shared<WhyOptions>();
  command
      .add_option("URL-OR-ID", options->asked,
                  "The id that X-Velmora or the page says, or an address as the log has it")
      ->required()
      ->type_name("");
  command
      .add_option("--log", options->logs,
                  "Event logs to look into (repeatable; default: the one that the policy names)")
      ->type_name("FILE")
      ->allow_extra_args(false);
  command
      .add_option("--policy", options->policy,
                  fmt::format("The policy (default: {})", options->policy))
      ->type_name("FILE");
  command.footer("Exit code: 0 there is an answer, 1 there is none, 2 wrong usage.");
  command.callback([options, &action] { action = [options] { return Why(*options); }; });
}

}  // namespace velmora::command
