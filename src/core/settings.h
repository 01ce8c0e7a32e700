// Category tests and settings of a transaction.
#pragma once

#include <cstdint>

#include <velmora/categories.h>
#include <velmora/data_context.h>

namespace velmora {

/// The category's bit in the option block's mask; 0 for a code that is no category.
std::uint32_t CategoryBit(std::int32_t category) noexcept;

/// The one test before anything is blocked: the user wants it, and the transaction's option block
/// does not suppress it.
bool IsFeatureEnabled(IDataContext &context, std::int32_t category) noexcept;

/// True when the named setting is "true" in any letter case.
bool IsSettingTrue(IDataContext &context, const char *name) noexcept;

}  // namespace velmora
