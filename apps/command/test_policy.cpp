// velmora test-policy: holds a policy's own examples against what it comes to.
#include "command/test_policy.h"

#include <fmt/format.h>
#include <memory>
#include <string>
#include <vector>

#include "command/answers/files.h"
#include "command/answers/messages.h"
#include "command/commands.h"
#include "host/policy/policy.h"
#include "host/requests/expectations.h"

namespace velmora::command {
namespace {

int TestPolicy(const std::string &file) {
  try {
    const host::Policy policy = host::ReadPolicy(file);
    if (policy.expectations.empty()) {
      PrintLine(fmt::format("{}: has no [[expect]]", file));
      return EXIT_FAILED;
    }
    const host::Plugin plugin(host::DefaultPlugin(), policy.ads);
    host::OpenRuleLists(policy, plugin);
    const std::size_t differing = PrintDifferences(file, policy, plugin);
    if (differing != 0) return EXIT_FAILED;
    Output output({});
    output.Write(fmt::format("{}: {} as expected\n", file, policy.expectations.size()));
    output.Finish();
    return EXIT_OK;
  } catch (const host::PolicyError &error) {
    PrintLine(error.what());
    return EXIT_FAILED;
  }
}

}  // namespace

std::size_t PrintDifferences(const std::string &file, const host::Policy &policy,
                             const host::Plugin &plugin) {
  const std::vector<host::Difference> differences = host::Differences(policy, plugin);
  for (const host::Difference &difference : differences) {
    PrintLine(fmt::format("{}:{}: {}: {}", file, difference.expectation->line,
                          Printable(Describe(*difference.expectation)),
                          Printable(difference.message)));
  }
  return differences.size();
}

void AddTestPolicy(CLI::App &application, Action &action) {
  CLI::App &command = *application.add_subcommand(
      "test-policy", "Hold a policy's own examples ([[expect]]) against what it comes to");
  const auto file = std::make_shared<std::string>(host::DefaultPolicy());
  command.add_option("FILE", *file, fmt::format("The policy file (default: {})", *file))
      ->type_name("");
  command.footer(
      "Without what was allowed since. Exit code: 0 all are as expected, 1 some differ (a line "
      "FILE:LINE each)\nor the file has problems or no examples, 2 wrong usage.");
  command.callback([file, &action] { action = [file] { return TestPolicy(*file); }; });
}

}  // namespace velmora::command
