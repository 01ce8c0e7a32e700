// velmora: the command line.
#include <exception>
#include <string_view>

#include "command/commands.h"
#include "command/messages.h"

namespace velmora::command {
namespace {

constexpr void (*COMMANDS[])(CLI::App &application, Action &action) = {
    AddFilter, AddAds, AddCategories, AddCheckConfig, AddLex, AddTop,
};

int Main(int argc, char **argv) {
  CLI::App application(
      "Velmora: takes scripts, advertisements and other active content out of pages.");
  application.name("velmora");
  application.set_version_flag("--version", "velmora " VELMORA_VERSION);
  application.require_subcommand(0, 1);
  Action action;
  for (const auto add : COMMANDS) add(application, action);
  try {
    application.parse(argc, argv);
    if (!action) throw CLI::RequiredError("a sub-command");
  } catch (const CLI::Success &asked) {
    return application.exit(asked);
  } catch (const CLI::ParseError &error) {
    PrintMessage(error.what());
    PrintMessage("\"velmora --help\" and \"velmora COMMAND --help\" say more");
    return EXIT_USAGE;
  }
  return action();
}

}  // namespace
}  // namespace velmora::command

int main(int argc, char **argv) {
  try {
    return velmora::command::Main(argc, argv);
  } catch (const std::exception &error) {
    velmora::command::PrintMessage(error.what());
    return velmora::command::EXIT_FAILED;
  }
}
