#include "command/text_report.h"

#include <fmt/format.h>

#include "command/messages.h"
#include "host/category_names.h"

namespace velmora::command {

void TextReport::Body::OnBlocked(const host::BlockedItem &item) noexcept {
  ++blocked_;
  ++report_.blocked_[item.category];
  if (report_.is_quiet_) return;
  PrintLine(fmt::format("{}: {}: {}{}{}", name_, host::NameOfCategory(item.category),
                        Printable(item.item), item.detail.empty() ? "" : "  ",
                        Printable(item.detail)));
}

void TextReport::Body::Close(std::string_view type, std::size_t bytes_in, std::size_t bytes_out,
                             bool was_filtered) {
  if (report_.is_quiet_) return;
  if (!was_filtered) {
    PrintLine(fmt::format("{}: nothing to filter in {}", name_, Printable(type)));
    return;
  }
  PrintLine(
      fmt::format("{}: {} blocked, {} bytes in, {} out", name_, blocked_, bytes_in, bytes_out));
}

void TextReport::PrintSummary() const {
  if (is_quiet_) return;
  std::size_t total = 0;
  PrintLine("blocked by category:");
  for (const auto &[category, count] : blocked_) {
    PrintLine(fmt::format("  {:<24}{:>6}", host::NameOfCategory(category), count));
    total += count;
  }
  PrintLine(fmt::format("  {:<24}{:>6}", "total", total));
}

}  // namespace velmora::command
