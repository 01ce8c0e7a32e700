#include <fmt/format.h>
#include <iterator>

#include "command/answers/messages.h"
#include "command/report.h"

namespace velmora::command {
namespace {

/// Of a text that went or came; the rest becomes "...".
constexpr std::size_t MOST_SHOWN = 400;

}  // namespace

std::string DiffText(std::string_view file, std::string_view original,
                     const host::EditList &edits) {
  std::string text;
  const auto out = std::back_inserter(text);
  for (const host::EditList::Edit &edit : edits.Edits()) {
    const std::string_view gone = original.substr(edit.original, edit.length);
    if (gone == edit.bytes) continue;
    fmt::format_to(out, "{} @{} {} -> {}\n", file, edit.original, gone.size(), edit.bytes.size());
    if (!gone.empty()) fmt::format_to(out, "- {}\n", Printable(gone, MOST_SHOWN));
    if (!edit.bytes.empty()) fmt::format_to(out, "+ {}\n", Printable(edit.bytes, MOST_SHOWN));
  }
  return text;
}

}  // namespace velmora::command
