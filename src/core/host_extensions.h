// What a host may hear and decide beyond `IDataContext`: each asks the context whether it answers
// to the interface too, and does nothing where it does not.
#pragma once

#include <cstdint>
#include <string>

#include <velmora/data_context.h>

namespace velmora {

/// `ITroubleListener`: something passes unexamined.
void TellUnexamined(IDataContext &context) noexcept;
/// What it says of them; 64 MiB where it says nothing.
std::uint64_t MostMisreadBytes(IDataContext &context) noexcept;
void TellMisreadBytes(IDataContext &context) noexcept;
/// `IPageListener`.
void TellScriptInserted(IDataContext &context, std::int32_t category) noexcept;
void TellMemory(IDataContext &context, std::uint64_t bytes) noexcept;
/// `IAdReview`: does an advertisement stay?
bool IsAdKept(IDataContext &context, const std::string &tag, const std::string &value,
              const std::string &url) noexcept;

}  // namespace velmora
