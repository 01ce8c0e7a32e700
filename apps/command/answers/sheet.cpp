#include "command/answers/sheet.h"

#include <fmt/format.h>

#include "command/answers/messages.h"

namespace velmora::command {
namespace {

/// Nothing that the event log writes is longer.
constexpr std::size_t MOST_OF_VALUE = 2048;

}  // namespace

std::string Text(const Sheet &sheet, std::size_t width_of_names) {
  std::string text = Printable(sheet.title) + "\n";
  for (const auto &[name, value] : sheet.rows) {
    text += fmt::format("  {:<{}}{}\n", name, width_of_names, Printable(value, MOST_OF_VALUE));
  }
  return text;
}

}  // namespace velmora::command
