// Tells a host of what passes unexamined.
#pragma once

#include <velmora/data_context.h>

namespace velmora {

/// Tells the transaction's `ITroubleListener`, if its host has one.
void TellUnexamined(IDataContext &context) noexcept;

}  // namespace velmora
