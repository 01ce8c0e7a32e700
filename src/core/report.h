// Reporting of blocked items.
#pragma once

#include <cstdint>
#include <string>

#include <velmora/data_context.h>

namespace velmora {

/// Tells the host that one item was blocked. An empty description becomes the category's label.
void ReportBlockedItem(IDataContext &context, std::int32_t category, const std::string &description,
                       const std::string &detail) noexcept;

}  // namespace velmora
