// velmora: the command line.
#include <algorithm>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/nearest_word.h"
#include "command/answers/files.h"
#include "command/answers/messages.h"
#include "command/commands.h"

namespace velmora::command {
namespace {

constexpr void (*COMMANDS[])(CLI::App &application, Action &action) = {
    AddFilter, AddAds,     AddCategories, AddCheckConfig, AddTestPolicy, AddLex,
    AddTop,    AddWhy,     AddReport,     AddAllow,       AddUndo,       AddLists,
    AddHealth, AddMetrics, AddWeb,        AddPreset,      AddHttps,
};

constexpr char WHERE_TO_READ[] = "\"velmora help\" and \"velmora help COMMAND\" say more";

/// The command of a name; null when there is none.
const CLI::App *FindCommand(const CLI::App &application, const std::string &name) {
  const auto commands = application.get_subcommands([](const CLI::App *) { return true; });
  const auto found = std::ranges::find(commands, name, &CLI::App::get_name);
  return found == commands.end() ? nullptr : *found;
}

/// The words that could stand where a word stood that is not known: options of the command that
/// was used, or commands.
std::vector<std::string> KnownWords(const CLI::App &application, bool are_options) {
  std::vector<std::string> words;
  if (!are_options) {
    for (const CLI::App *command :
         application.get_subcommands([](const CLI::App *) { return true; }))
      words.push_back(command->get_name());
    return words;
  }
  const auto used = application.get_subcommands();
  const CLI::App &command = used.empty() ? application : *used.front();
  for (const CLI::Option *option : command.get_options()) {
    for (const std::string &name : option->get_lnames()) words.push_back("--" + name);
  }
  return words;
}

std::string Unknown(const CLI::App &application, const std::string &word) {
  const bool is_option = word.starts_with('-');
  const std::vector<std::string> words = KnownWords(application, is_option);
  const std::vector<std::string_view> known(words.begin(), words.end());
  const std::string_view nearest = base::NearestWord(word.substr(0, word.find('=')), known);
  std::string text = is_option ? "unknown option \"" : "unexpected word \"";
  text += word + "\"";
  if (!nearest.empty()) text += "; did you mean \"" + std::string(nearest) + "\"?";
  return text;
}

void AddHelp(CLI::App &application, Action &action) {
  CLI::App &command = *application.add_subcommand("help", "Show what a command does");
  const auto name = std::make_shared<std::string>();
  command.add_option("COMMAND", *name, "The command (default: all of them)")->type_name("");
  command.callback([&application, &action, name] {
    action = [&application, name] {
      const CLI::App *const about = name->empty() ? &application : FindCommand(application, *name);
      if (about == nullptr) {
        PrintMessage(Unknown(application, *name));
        return EXIT_USAGE;
      }
      const std::string words = about == &application ? "velmora" : "velmora " + *name;
      Output output({});
      // Not its `help`, which would be that of the command used: this one.
      output.Write(about->get_formatter()->make_help(about, words, CLI::AppFormatMode::Normal));
      output.Finish();
      return EXIT_OK;
    };
  });
}

int Main(int argc, char **argv) {
  CLI::App application(
      "Velmora: takes scripts, advertisements and other active content out of pages.");
  application.name("velmora");
  application.set_version_flag("--version", "velmora " VELMORA_VERSION);
  application.require_subcommand(0, 1);
  Action action;
  for (const auto add : COMMANDS) add(application, action);
  AddHelp(application, action);
  try {
    application.parse(argc, argv);
    if (!action) throw CLI::RequiredError("a sub-command");
  } catch (const CLI::Success &asked) {
    return application.exit(asked);
  } catch (const CLI::ExtrasError &) {
    PrintMessage(Unknown(application, application.remaining(true).front()));
    PrintMessage(WHERE_TO_READ);
    return EXIT_USAGE;
  } catch (const CLI::ParseError &error) {
    PrintMessage(error.what());
    PrintMessage(WHERE_TO_READ);
    return EXIT_USAGE;
  }
  return action();
}

}  // namespace
}  // namespace velmora::command

int main(int argc, char **argv) {
  try {
    return velmora::command::Main(argc, argv);
  } catch (const velmora::command::UsageError &error) {
    velmora::command::PrintMessage(error.what());
    return velmora::command::EXIT_USAGE;
  } catch (const std::exception &error) {
    velmora::command::PrintMessage(error.what());
    return velmora::command::EXIT_FAILED;
  }
}
