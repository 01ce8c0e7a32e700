// velmora categories: what can be blocked.
#include "host/bodies/categories.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <string>

#include "command/commands.h"
#include "command/files.h"

namespace velmora::command {
namespace {

constexpr char ROW[] = "{:<6}{:<22}{:<9}{}\n";

std::string_view MeaningOf(std::int32_t code) {
  return std::ranges::find(CATEGORIES, code, &CategoryInfo::code)->meaning;
}

int PrintCategories() {
  std::string table = fmt::format(ROW, "code", "name", "default", "what it blocks");
  for (const host::Category &category : host::CATEGORY_TABLE) {
    table += fmt::format(ROW, category.code, category.name, category.is_default ? "yes" : "",
                         MeaningOf(category.code));
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
