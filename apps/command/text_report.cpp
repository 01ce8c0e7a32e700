#include <fmt/format.h>

#include "command/answers/messages.h"
#include "command/report.h"
#include "host/bodies/categories.h"

namespace velmora::command {
namespace {

class TextReport final : public Report {
 public:
  TextReport(Progress &progress, bool is_quiet) : progress_(progress), is_quiet_(is_quiet) {}

  void Blocked(std::string_view file, const host::BlockedItem &item) override {
    Say("{}: {}: {}{}{}", file, host::NameOfCategory(item.category), Printable(item.item),
        item.detail.empty() ? "" : "  ", Printable(item.detail));
  }

  void Done(std::string_view file, const FileResult &result) override {
    if (result.stopped) {
      Say("{}: {}: the rest is not filtered", file, host::Describe(*result.stopped));
    }
    if (result.is_type_guessed) {
      Say("{}: taken for {}; --type says what it is", file, Printable(result.type));
    }
    if (result.was_filtered) {
      Say("{}: {} blocked, {} bytes in, {} out", file, result.blocked, result.bytes_in,
          result.bytes_out);
    } else {
      Say("{}: nothing to filter in {}", file, Printable(result.type));
    }
  }

  void Failed(std::string_view file, std::string_view message) override {
    progress_.Clear();
    PrintMessage(fmt::format("{}: {}", file, message));
  }

  void Summary(const Totals &totals) override {
    std::size_t all = 0;
    Say("blocked by category:");
    for (const auto &[category, count] : totals.blocked) {
      Say("  {:<24}{:>6}", host::NameOfCategory(category), count);
      all += count;
    }
    Say("  {:<24}{:>6}", "total", all);
    Say("{} files ({} failed), {} bytes in, {} out, {:.1f} s", totals.files, totals.failed,
        totals.bytes_in, totals.bytes_out, std::chrono::duration<double>(totals.time).count());
  }

 private:
  template <class... Arguments>
  void Say(fmt::format_string<Arguments...> format, Arguments &&...arguments) {
    if (is_quiet_) return;
    progress_.Clear();
    PrintLine(fmt::format(format, std::forward<Arguments>(arguments)...));
  }

  Progress &progress_;
  const bool is_quiet_;
};

}  // namespace

std::unique_ptr<Report> MakeTextReport(Progress &progress, bool is_quiet) {
  return std::make_unique<TextReport>(progress, is_quiet);
}

}  // namespace velmora::command
