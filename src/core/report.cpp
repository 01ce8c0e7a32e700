#include "core/report.h"

#include <velmora/categories.h>

namespace velmora {
namespace {

const char *Label(std::int32_t category) noexcept {
  for (const CategoryInfo &info : CATEGORIES) {
    if (info.code == category) return info.label;
  }
  return "";
}

}  // namespace

void ReportBlockedItem(IDataContext &context, std::int32_t category, const std::string &description,
                       const std::string &detail) noexcept {
  const char *item = description.empty() ? Label(category) : description.c_str();
  context.ReportBlocked(1, category, item, detail.c_str());
}

}  // namespace velmora
