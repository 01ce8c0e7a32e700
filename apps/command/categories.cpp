// velmora categories: what can be blocked.
#include <fmt/format.h>
#include <iterator>
#include <string>

#include "command/commands.h"
#include "command/files.h"
#include "host/bodies/category_names.h"

namespace velmora::command {
namespace {

int PrintCategories() {
  std::string table = fmt::format("{:<6}{:<22}{}\n", "code", "name", "what it blocks");
  for (const CategoryInfo &category : CATEGORIES) {
    table += fmt::format("{:<6}{:<22}{}\n", category.code, host::NameOfCategory(category.code),
                         category.meaning);
  }
  table += "\nNames for several: \"ads\" (all six kinds of advertisements), \"all\", \"none\".\n";
  Output output({});
  output.Write(table);
  output.Finish();
  return EXIT_OK;
}

}  // namespace

void AddCategories(CLI::App &application, Action &action) {
  application.add_subcommand("categories", "List what can be blocked")->callback([&action] {
    action = PrintCategories;
  });
}

}  // namespace velmora::command
