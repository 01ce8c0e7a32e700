// velmora check-config: reads a policy file, and shows what applies to a URL and a client.
#include <chrono>
#include <fmt/format.h>
#include <memory>
#include <string>

#include "command/argument_checks.h"
#include "command/commands.h"
#include "command/files.h"
#include "command/messages.h"
#include "host/policy/policy.h"
#include "host/web/url.h"

namespace velmora::command {
namespace {

struct CheckOptions {
  std::string file = host::DefaultPolicy();
  std::string url;
  std::string client;
  bool is_splice_list = false;
};

/// A line of the answer.
std::string Line(std::string_view name, std::string_view value) {
  return fmt::format("  {:<14}{}\n", name, value);
}

std::string Bytes(std::uint64_t count) {
  if (count % (1U << 20) == 0) return fmt::format("{} MiB", count >> 20);
  return fmt::format("{} bytes", count);
}

std::string Joined(const std::vector<std::filesystem::path> &paths) {
  std::string list;
  for (const auto &path : paths) list += (list.empty() ? "" : ", ") + path.string();
  return list;
}

/// What holds for every response.
std::string General(const host::Policy &policy) {
  const host::Limits &limits = policy.responses.stream.limits;
  const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(limits.filter_time.most);
  std::string text =
      Line("everywhere", policy.everywhere.block.Without(policy.everywhere.allow).Text());
  text += Line("rules", std::to_string(policy.rules.size()));
  text += Line("limits",
               fmt::format("{} held back, {} ms of filtering, {} decoded, ratio {}; "
                           "beyond: {}",
                           Bytes(limits.held_bytes.most), time.count(),
                           Bytes(policy.responses.decoding.size), policy.responses.decoding.ratio,
                           limits.beyond == host::BeyondLimit::FAIL ? "fail" : "pass"));
  text += Line("ad library", !policy.ads.is_used        ? "not used"
                             : policy.ads.lists.empty() ? "with the lists that it finds"
                                                        : "with " + Joined(policy.ads.lists));
  text += Line("event log", !policy.event_log                ? "none"
                            : policy.event_log->file.empty() ? "standard error"
                                                             : policy.event_log->file.string());
  return text;
}

/// The bytes, and the categories that the mask in their second word switches off.
std::string OptionBlock(const std::vector<std::uint8_t> &block) {
  std::string text;
  std::uint32_t mask = 0;
  for (std::size_t i = 0; i < block.size(); ++i) {
    text += fmt::format("{:02x} ", block[i]);
    if (4 <= i && i < 8) mask |= std::uint32_t{block[i]} << (8 * (i - 4));
  }
  host::CategorySet masked;
  for (const CategoryInfo &category : CATEGORIES) {
    if ((mask & category.bit) != 0) masked.Insert(category.code);
  }
  return text + "leaves alone: " + masked.Text();
}

/// What holds for one.
std::string Particular(const host::Policy &policy, const CheckOptions &options) {
  std::string text =
      fmt::format("{} for {}:\n", Printable(options.url.empty() ? "any site" : options.url),
                  options.client.empty() ? "any client" : options.client);
  if (policy.Allows(options.url, options.client)) {
    return text + Line("passes", "untouched, by the allow list");
  }
  std::string rules;
  for (const host::PolicyRule *const rule : policy.RulesFor(options.url, options.client)) {
    rules += fmt::format("{}{} (line {})", rules.empty() ? "" : ", ", rule->name, rule->line);
  }
  const host::PolicyAnswer answer = policy.For(options.url, options.client);
  text += Line("rules", rules.empty() ? "none" : rules);
  text += answer.IsFiltered() ? Line("blocks", answer.categories.Text())
                              : Line("passes", "untouched: nothing is to be blocked");
  for (const auto &[name, value] : answer.settings) {
    text += Line("setting", fmt::format("{} = {}", name, Printable(value)));
  }
  if (!answer.option_block.empty()) text += Line("option block", OptionBlock(answer.option_block));
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

int CheckConfig(const CheckOptions &options) {
  try {
    const host::Policy policy = host::ReadPolicy(options.file);
    const bool is_particular = !options.url.empty() || !options.client.empty();
    Output output({});
    output.Write(options.is_splice_list ? SpliceList(policy)
                 : is_particular
                     ? Particular(policy, options)
                     : fmt::format("{}: no problems\n{}", options.file, General(policy)));
    output.Finish();
    return EXIT_OK;
  } catch (const host::PolicyError &error) {
    PrintLine(error.what());
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
  command.add_option("--client", options->client, "Show what applies to this client")
      ->type_name("ADDRESS")
      ->check(CheckAddress);
  command.add_flag("--splice-list", options->is_splice_list,
                   "Print the sites that are never looked into, a line each, for Squid's "
                   "ssl::server_name");
  command.footer(
      "Exit code: 0 the file is good, 1 it has problems (FILE:LINE:COLUMN), 2 wrong usage.");
  command.callback([options, &action] { action = [options] { return CheckConfig(*options); }; });
}

}  // namespace velmora::command
