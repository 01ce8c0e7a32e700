// velmora allow, velmora undo: exceptions from the policy that a running proxy takes at once.
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <string>

#include "command/answers/allowing.h"
#include "command/answers/files.h"
#include "command/commands.h"
#include "host/policy/exceptions.h"
#include "host/policy/policy.h"

namespace velmora::command {
namespace {

struct AllowOptions {
  std::string policy = host::DefaultPolicy();
  std::string site;
  std::string client;
  std::string group;
  std::string time;
  std::string categories;
};

void AddPolicyOption(CLI::App &command, std::string &policy) {
  command
      .add_option("--policy", policy,
                  fmt::format("The policy that it is an exception from (default: {})", policy))
      ->type_name("FILE");
}

int Say(const std::string &text) {
  Output output({});
  output.Write(text + "\n");
  output.Finish();
  return EXIT_OK;
}

/// An empty word, of a script's variable, would allow more than was meant.
std::string CheckNotEmpty(const std::string &text) {
  return text.empty() ? "is empty" : "";
}

/// Takes an option's text in, if there is one; what is wrong with it is wrong usage.
template <class Function>
void TakeIn(const char *name, const std::string &text, Function take) {
  if (text.empty()) return;
  try {
    take(text);
  } catch (const std::invalid_argument &error) {
    throw UsageError(fmt::format("{}: {}", name, error.what()));
  }
}

host::Exception ExceptionOf(const AllowOptions &options, const host::Policy &policy) {
  host::Exception exception;
  TakeIn("SITE", options.site, [&](const std::string &text) { exception.site.Add(text); });
  TakeIn("--client", options.client,
         [&](const std::string &text) { exception.client = host::ClientNetwork::Parse(text); });
  TakeIn("--group", options.group,
         [&](const std::string &text) { LimitToGroup(exception, policy, text); });
  TakeIn("--for", options.time, [&](const std::string &text) { RunOutIn(exception, text); });
  TakeIn("--category", options.categories,
         [&](const std::string &text) { LimitToCategories(exception, policy, text); });
  return exception;
}

int Allow(const AllowOptions &options) {
  const host::Policy policy = host::ReadPolicy(options.policy);
  const host::Exception exception = ExceptionOf(options, policy);
  host::AddException(policy.exceptions_file, exception);
  return Say(fmt::format("allowed {} ({}); \"velmora undo\" takes it back", Describe(exception),
                         policy.exceptions_file.string()));
}

int Undo(const std::string &policy) {
  const auto exception = host::TakeExceptionBack(ExceptionsOf(policy));
  if (!exception) throw std::runtime_error("nothing is allowed that could be taken back");
  return Say("taken back: " + Describe(*exception));
}

}  // namespace

void AddAllow(CLI::App &application, Action &action) {
  CLI::App &command =
      *application.add_subcommand("allow", "Let a site pass, at once and until it is undone");
  const auto options = std::make_shared<AllowOptions>();
  command.add_option("SITE", options->site, "A host's name, which stands for its sub-domains too")
      ->required()
      ->type_name("")
      ->check(CheckNotEmpty);
  const auto client =
      command.add_option("--client", options->client, "Only for this IP address or network")
          ->type_name("NET")
          ->check(CheckNotEmpty);
  command.add_option("--group", options->group, "Only for this group of the policy")
      ->type_name("NAME")
      ->check(CheckNotEmpty)
      ->excludes(client);
  command.add_option("--for", options->time, "Only for so long: 30min, 1h, 7d")
      ->type_name("TIME")
      ->check(CheckNotEmpty);
  command
      .add_option("--category", options->categories,
                  "Only these categories, the policy's own among them (default: the site is not "
                  "touched at all)")
      ->type_name("LIST")
      ->check(CheckNotEmpty);
  AddPolicyOption(command, options->policy);
  command.footer(
      "It is written beside the policy, to FILE.exceptions; the proxy takes it within a second.");
  command.callback([options, &action] { action = [options] { return Allow(*options); }; });
}

void AddUndo(CLI::App &application, Action &action) {
  CLI::App &command = *application.add_subcommand("undo", "Take back what was allowed last");
  const auto policy = std::make_shared<std::string>(host::DefaultPolicy());
  AddPolicyOption(command, *policy);
  command.callback([policy, &action] { action = [policy] { return Undo(*policy); }; });
}

}  // namespace velmora::command
