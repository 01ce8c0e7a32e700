#include <nlohmann/json.hpp>

#include "command/answers/messages.h"
#include "command/report.h"
#include "host/bodies/categories.h"

namespace velmora::command {
namespace {

class JsonReport final : public Report {
 public:
  explicit JsonReport(Progress &progress) : progress_(progress) {}

  void Blocked(std::string_view file, const host::BlockedItem &item) override {
    nlohmann::ordered_json line = {{"file", file},
                                   {"category", host::NameOfCategory(item.category)},
                                   {"code", item.category},
                                   {"item", item.item},
                                   {"detail", item.detail}};
    if (item.offset) line["offset"] = *item.offset;
    Say(line);
  }

  void Done(std::string_view file, const FileResult &result) override {
    if (result.stopped) Failed(file, host::Describe(*result.stopped));
  }

  void Failed(std::string_view file, std::string_view message) override {
    Say({{"file", file}, {"error", message}});
  }

  void Summary(const Totals &) override {}

 private:
  void Say(const nlohmann::ordered_json &line) {
    progress_.Clear();
    PrintLine(line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
  }

  Progress &progress_;
};

}  // namespace

std::unique_ptr<Report> MakeJsonReport(Progress &progress) {
  return std::make_unique<JsonReport>(progress);
}

}  // namespace velmora::command
