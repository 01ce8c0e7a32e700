// velmora categories: what can be blocked.
#include "host/bodies/categories.h"

#include <fmt/format.h>
#include <string>

#include "command/commands.h"
#include "command/files.h"

namespace velmora::command {
namespace {

constexpr char ROW[] = "{:<6}{:<22}{:<9}{}\n";

int PrintCategories() {
  std::string table = fmt::format(ROW, "code", "name", "default", "what it blocks");
  for (const host::Category &category : host::CATEGORY_TABLE) {
    table += fmt::format(ROW, category.code, category.name, category.is_default ? "yes" : "",
                         host::MeaningOfCategory(category.code));
  }
  table += "\nwords for several:\n";
  for (const host::CategoryGroup &group : host::CATEGORY_GROUPS) {
    table += fmt::format(ROW, "", group.name, "", group.meaning);
  }
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
