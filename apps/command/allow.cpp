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
  host::Exception exception{};
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

int Allow(const AllowOptions &options) {
  const std::filesystem::path file = ExceptionsOf(options.policy);
  host::AddException(file, options.exception);
  return Say(fmt::format("allowed {} ({}); \"velmora undo\" takes it back",
                         Describe(options.exception), file.string()));
}

int Undo(const std::string &policy) {
  const auto exception = host::TakeExceptionBack(ExceptionsOf(policy));
  if (!exception) throw std::runtime_error("nothing is allowed that could be taken back");
  return Say("taken back: " + Describe(*exception));
}

/// Takes an option's text in; what is wrong with it is wrong usage.
template <class Function>
auto Taking(std::string name, Function take) {
  return [name = std::move(name), take](const std::string &text) {
    try {
      take(text);
    } catch (const std::invalid_argument &error) {
      throw CLI::ValidationError(name, error.what());
    }
  };
}

}  // namespace

void AddAllow(CLI::App &application, Action &action) {
  CLI::App &command =
      *application.add_subcommand("allow", "Let a site pass, at once and until it is undone");
  const auto options = std::make_shared<AllowOptions>();
  host::Exception &exception = options->exception;
  command
      .add_option_function<std::string>(
          "SITE",
          Taking("SITE", [&exception](const std::string &text) { exception.site.Add(text); }),
          "A host's name, which stands for its sub-domains too")
      ->required()
      ->type_name("");
  command
      .add_option_function<std::string>("--client",
                                        Taking("--client",
                                               [&exception](const std::string &text) {
                                                 exception.client =
                                                     host::ClientNetwork::Parse(text);
                                               }),
                                        "Only for this IP address or network")
      ->type_name("NET");
  command
      .add_option_function<std::string>(
          "--for",
          Taking("--for", [&exception](const std::string &text) { RunOutIn(exception, text); }),
          "Only for so long: 30min, 1h, 7d")
      ->type_name("TIME");
  command
      .add_option_function<std::string>(
          "--category",
          Taking("--category",
                 [&exception](const std::string &text) {
                   exception.categories = host::CategorySet::Parse(text);
                 }),
          "Only these categories (default: the site is not touched at all)")
      ->type_name("LIST");
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
