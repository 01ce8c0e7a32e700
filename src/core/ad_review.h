// Asks a host whether an advertisement stays.
#pragma once

#include <string>

#include <velmora/data_context.h>

namespace velmora {

/// The answer of the transaction's `IAdReview`; false where its host has none.
bool IsAdKept(IDataContext &context, const std::string &tag, const std::string &value,
              const std::string &address) noexcept;

}  // namespace velmora
