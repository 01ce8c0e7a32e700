#include "pipeline/content_handler_table.h"

#include "core/strings.h"

namespace velmora {

const ContentHandlerRow *ContentHandlerTable::Find(std::string_view content_type) const noexcept {
  for (const ContentHandlerRow &row : rows) {
    if (StartsWithNoCase(content_type, row.type_prefix)) return &row;
  }
  return nullptr;
}

}  // namespace velmora
