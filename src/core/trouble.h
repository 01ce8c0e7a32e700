// Tells a host of what passes unexamined.
#pragma once

#include <cstdint>

#include <velmora/data_context.h>

namespace velmora {

/// Tells the transaction's `ITroubleListener`, if its host has one.
void TellUnexamined(IDataContext &context) noexcept;

/// What it says of them; 64 MiB where it says nothing.
std::uint64_t MostMisreadBytes(IDataContext &context) noexcept;
void TellMisreadBytes(IDataContext &context) noexcept;

}  // namespace velmora
