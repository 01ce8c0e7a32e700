// Reporting of what was blocked in an element.
#pragma once

#include <cstdint>
#include <string>

#include "core/host_extensions.h"
#include "core/report.h"
#include "html/element.h"

namespace velmora {

/// As `ReportBlockedItem`; a host that asks for it is told before where the element stands.
inline void ReportElement(IDataContext &context, const CHTMLElement &element, std::int32_t category,
                          const std::string &description, const std::string &detail) noexcept {
  TellItem(context, element.BeginIndex(), element.Growth());
  ReportBlockedItem(context, category, description, detail);
}

}  // namespace velmora
