// velmora lists: which ad lists the policy comes to, how old they are, and what of them counts;
// and fetches those that have a URL.
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <string>

#include "command/answers/ad_lists.h"
#include "command/answers/files.h"
#include "command/answers/messages.h"
#include "command/commands.h"
#include "host/policy/policy.h"

namespace velmora::command {
namespace {

constexpr std::size_t WIDTH_OF_NAMES = 9;

struct ListsOptions {
  std::string policy = host::DefaultPolicy();
  UpdateOptions update{};
};

int Show(const ListsOptions &options) {
  host::Policy policy;
  if (std::filesystem::exists(options.policy)) policy = host::ReadPolicy(options.policy);
  const AdLists lists = AdListsOf(policy);
  Output output({});
  for (const Sheet &list : lists.lists) output.Write(Text(list, WIDTH_OF_NAMES));
  for (const std::string &url : lists.not_fetched) {
    output.Write(Printable(url) + "\n  not fetched yet; \"velmora lists update\" does\n");
  }
  output.Write(fmt::format("{} rules in all\n", lists.rules));
  output.Finish();
  for (const std::string &problem : lists.problems) PrintMessage(problem);
  return lists.problems.empty() ? EXIT_OK : EXIT_FAILED;
}

int Update(const ListsOptions &options) {
  const host::Policy policy = host::ReadPolicy(options.policy);
  if (policy.list_urls.empty()) {
    if (options.update.only_due) return 0;  // what a timer asks for each day is no mistake
    throw std::runtime_error(options.policy + " names no \"urls\" in [ads]");
  }
  Output output({});
  const bool is_all_well =
      UpdateAdLists(policy, options.update, [&](const std::string &url, const std::string &result) {
        output.Write(fmt::format("{}: {}\n", Printable(url), result));
      });
  output.Finish();
  return is_all_well ? EXIT_OK : EXIT_FAILED;
}

void AddPolicy(CLI::App &command, ListsOptions &options) {
  command
      .add_option("--policy", options.policy,
                  fmt::format("The policy that names them (default: {})", options.policy))
      ->type_name("FILE");
}

void AddUpdate(CLI::App &lists, const std::shared_ptr<ListsOptions> &options, Action &action) {
  CLI::App &command = *lists.add_subcommand("update", "Fetch those that the policy has a URL for");
  AddPolicy(command, *options);
  command.add_flag("--due", options->update.only_due, "Only those that have expired, as they say");
  const auto proxy =
      command
          .add_option("--proxy", options->update.fetching.proxy,
                      "By way of this proxy (default: what http_proxy and https_proxy say)")
          ->type_name("URL");
  command.add_flag("--direct", options->update.fetching.is_direct, "By way of no proxy")
      ->excludes(proxy);
  command.add_flag("--take-less", options->update.fetching.takes_less,
                   "Take a list that has less than half of the rules of the one before");
  command.footer(
      "A list that cannot be fetched, or looks like a mistake, leaves the one before in force; "
      "the\n"
      "exit code is 1 then. A running proxy takes new lists within a second.");
  command.callback([options, &action] { action = [options] { return Update(*options); }; });
}

}  // namespace

void AddLists(CLI::App &application, Action &action) {
  CLI::App &command =
      *application.add_subcommand("lists", "Show the ad lists and their age, or fetch new ones");
  const auto options = std::make_shared<ListsOptions>();
  AddPolicy(command, *options);
  command.require_subcommand(0, 1);
  AddUpdate(command, options, action);
  command.callback([options, &action, &command] {
    if (command.get_subcommands().empty()) action = [options] { return Show(*options); };
  });
}

}  // namespace velmora::command
