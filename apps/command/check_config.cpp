// velmora check-config: reads a policy file, and shows what applies to a URL and a client.
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>

#include "command/answers/applied.h"
#include "command/answers/files.h"
#include "command/answers/messages.h"
#include "command/argument_checks.h"
#include "command/commands.h"
#include "command/test_policy.h"
#include "host/policy/chosen_preset.h"
#include "host/policy/filtering.h"
#include "host/policy/policy.h"
#include "host/web/url.h"

namespace velmora::command {
namespace {

constexpr std::size_t WIDTH_OF_NAMES = 14;

struct CheckOptions {
  std::string file = host::DefaultPolicy();
  std::string url;
  WhoAndWhen who;
  bool is_splice_list = false;

  bool IsParticular() const noexcept {
    return !(url.empty() && who.client.empty() && who.user.empty() && who.groups.empty() &&
             who.at.empty());
  }
};

/// A line of the answer.
std::string Line(std::string_view name, std::string_view value) {
  return fmt::format("  {:<{}}{}\n", name, WIDTH_OF_NAMES, value);
}

std::string Bytes(std::uint64_t count) {
  if (count % (1U << 20) == 0) return fmt::format("{} MiB", count >> 20);
  return fmt::format("{} bytes", count);
}

/// What holds for every response.
std::string General(const host::Policy &policy) {
  const host::Limits &limits = policy.responses.stream.limits;
  const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(limits.filter_time.most);
  const host::CategorySet everywhere = policy.everywhere.block.Without(policy.everywhere.allow);
  std::string text = Line("preset", everywhere.Preset().empty() ? "none: a choice of its own"
                                                                : everywhere.Preset()) +
                     Line("everywhere", everywhere.Text());
  if (const std::string chosen = host::ChosenPreset(policy); !chosen.empty()) {
    text += Line("chosen since", chosen + ", in the place of [filter]; \"velmora preset\"");
  }
  text += Line("rules", std::to_string(policy.rules.size()));
  if (!policy.expectations.empty()) {
    text += Line("examples", std::to_string(policy.expectations.size()));
  }
  text += Line(
      "limits",
      fmt::format(
          "{} held back, {} by all, {} added at once, {} ms of filtering, {} decoded, ratio {}; "
          "beyond: {}",
          Bytes(limits.held_bytes.most), Bytes(limits.all_held_bytes.most),
          Bytes(limits.added_bytes.most), time.count(), Bytes(policy.responses.decoding.size),
          policy.responses.decoding.ratio,
          limits.beyond == host::BeyondLimit::FAIL ? "fail" : "pass"));
  for (const host::Exception &exception : policy.exceptions) {
    text += Line("allowed since", Describe(exception));
  }
  if (!policy.ads.is_used) text += Line("ad library", "not used");
  text += Line("event log", !policy.event_log                ? "none"
                            : policy.event_log->file.empty() ? "standard error"
                                                             : policy.event_log->file.string());
  return text;
}

/// For Squid's `ssl::server_name`: a dot in front stands for the sub-domains.
std::string SpliceList(const host::Policy &policy) {
  std::string list;
  for (const std::string &name : policy.spliced_sites.Names()) {
    list += (host::HostName(name).IsAddress() ? "" : ".") + name + "\n";
  }
  return list;
}

/// The ad lists that a start with this policy comes to.
std::string AdRules(const host::Plugin &plugin) {
  const host::AdLists in_force = plugin.ListsInForce();
  if (in_force.lists.empty()) return {};
  std::string text = Line("ad rules", fmt::format("{} in force", in_force.rules));
  for (const host::AdList &list : in_force.lists) {
    text += Line("", fmt::format("{} in {}, {}", list.rules, Printable(list.name), list.origin));
  }
  for (const std::string &problem : in_force.problems) PrintLine("warning: " + problem);
  return text;
}

void WarnOfPopups(std::string_view where, const host::CategorySet &categories) {
  if (!categories.Contains(CATEGORY_POPUPS) || categories.Contains(CATEGORY_RESTORE_POPUPS)) return;
  PrintLine(
      fmt::format("warning: {} blocks \"popups\" without \"restore-popups\": pages that open "
                  "a window when asked to (\"Sign in with ...\") do not work",
                  where));
}

/// What does not keep a proxy from starting, but is hardly meant.
void Warn(const host::Policy &policy) {
  const host::CategorySet everywhere = policy.For("", "").categories;
  WarnOfPopups("[filter]", everywhere);
  for (const host::PolicyRule &rule : policy.rules) {
    const host::PolicyChange &change = rule.change;
    const host::CategorySet categories =
        change.only.value_or(everywhere).With(change.block).Without(change.allow);
    if (categories != everywhere) {
      WarnOfPopups(fmt::format("rule {} (line {})", Printable(rule.name), rule.line), categories);
    }
  }
  for (const std::string &line : policy.left_out) PrintLine("warning: " + Printable(line));
  const std::string problem = host::TemporaryFilesProblem();
  if (!problem.empty()) PrintLine("warning: " + problem);
  if (!policy.event_log || policy.event_log->file.empty()) return;
  const std::filesystem::path folder = policy.event_log->file.parent_path();
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    PrintLine(fmt::format("warning: event log {}: {} cannot be written to by this user: {}",
                          policy.event_log->file.string(), folder.string(),
                          std::generic_category().message(errno)));
  }
}

/// All that a start needs, and whether the policy's examples come out as it says. Throws
/// `LoadError`.
int PrintWhole(const CheckOptions &options, const host::Policy &policy, Output &output) {
  const host::Plugin plugin(host::DefaultPlugin(), policy.ads);
  const std::string rules = AdRules(plugin);
  host::OpenRuleLists(policy, plugin);
  Warn(policy);
  host::Policy as_written = policy;
  as_written.exceptions.clear();
  const std::size_t differing = PrintDifferences(options.file, as_written, plugin);
  const std::string result =
      differing == 0 ? "no problems" : fmt::format("{} not as expected", differing);
  output.Write(fmt::format("{}: {}\n{}{}", options.file, result, General(policy), rules));
  return differing == 0 ? EXIT_OK : EXIT_FAILED;
}

int CheckConfig(const CheckOptions &options) {
  try {
    host::Policy policy = host::ReadPolicy(options.file);
    policy.exceptions = host::ReadExceptions(policy.exceptions_file);
    Output output({});
    int code = EXIT_OK;
    if (options.is_splice_list) {
      output.Write(SpliceList(policy));
    } else if (options.IsParticular()) {
      output.Write(Text(Applied(policy, options.url, options.who), WIDTH_OF_NAMES));
    } else {
      code = PrintWhole(options, policy, output);
    }
    output.Finish();
    return code;
  } catch (const host::PolicyError &error) {
    PrintLine(error.what());
    return EXIT_FAILED;
  } catch (const host::LoadError &error) {
    PrintLine(fmt::format("{}: a proxy would not start: {}", options.file, error.what()));
    return EXIT_FAILED;
  }
}

}  // namespace

void AddCheckConfig(CLI::App &application, Action &action) {
  CLI::App &command = *application.add_subcommand(
      "check-config", "Check a policy file, and show what applies to a URL and a client");
  const auto options = std::make_shared<CheckOptions>();
  command
      .add_option("FILE", options->file,
                  fmt::format("The policy file (default: {})", options->file))
      ->type_name("");
  command.add_option("--url", options->url, "Show what applies to this URL")
      ->type_name("URL")
      ->check(CheckUrl);
  command.add_option("--client", options->who.client, "Show what applies to this client")
      ->type_name("ADDRESS")
      ->check(CheckAddress);
  command.add_option("--user", options->who.user, "Show what applies to this user of the proxy")
      ->type_name("NAME");
  command
      .add_option("--groups", options->who.groups,
                  "Show what applies to a client that the proxy puts into these groups")
      ->type_name("LIST");
  command
      .add_option("--at", options->who.at,
                  "Show what applies at this time, as \"2026-03-02 08:00\" or \"Mon 08:00\"")
      ->type_name("TIME")
      ->check(CheckTime);
  command.add_flag("--splice-list", options->is_splice_list,
                   "Print the sites that are never looked into, a line each, for Squid's "
                   "ssl::server_name");
  command.footer(
      "Exit code: 0 the file is good, 1 it has problems (FILE:LINE:COLUMN) or examples that come "
      "out "
      "otherwise\n(FILE:LINE), 2 wrong usage.");
  command.callback([options, &action] { action = [options] { return CheckConfig(*options); }; });
}

}  // namespace velmora::command
