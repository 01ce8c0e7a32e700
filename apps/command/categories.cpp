// velmora categories: what can be blocked.
#include "host/bodies/categories.h"

#include <fmt/format.h>
#include <string>

#include "command/answers/files.h"
#include "command/commands.h"

namespace velmora::command {
namespace {

constexpr char ROW[] = "{:<6}{:<22}{:<30}{}\n";

/// The presets that a category is in.
std::string PresetsOf(const host::Category &category) {
  std::string names;
  for (const host::CategoryGroup &group : host::CATEGORY_GROUPS) {
    if (!group.is_preset || !group.has(category)) continue;
    names.append(names.empty() ? "" : ", ").append(group.name);
  }
  return names;
}

int PrintCategories() {
  std::string table = fmt::format(ROW, "code", "name", "in the presets", "what it blocks");
  for (const host::Category &category : host::CATEGORY_TABLE) {
    table += fmt::format(ROW, category.code, category.name, PresetsOf(category),
                         host::MeaningOfCategory(category.code));
  }
  table += "\nwords for several, presets first:\n";
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
