// Status words: the results of interface operations that can fail.
#pragma once

#include <cstdint>

namespace velmora {

/// Result of an interface operation. Success is exactly `RESULT_OK`; the top bit marks a failure.
using Status = std::uint32_t;

inline constexpr Status RESULT_OK = 0x00010000;
/// The object does not offer the interface that was asked for.
inline constexpr Status RESULT_NO_INTERFACE = 0x80010200;
/// An object could not be allocated.
inline constexpr Status RESULT_OUT_OF_MEMORY = 0x80010201;
/// A required output pointer was null, or the object identifier is not the module's own.
inline constexpr Status RESULT_INVALID_ARGUMENT = 0x80010203;

/// True for every status word that reports a failure.
constexpr bool IsFailure(Status status) noexcept {
  return (status & 0x80000000U) != 0;
}

}  // namespace velmora
