// The walk through the blocks of a GIF image.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace velmora {

/// The block that ends an image, one byte long.
inline constexpr std::uint8_t GIF_TRAILER = 0x3B;

/// The position of the separator byte that begins the second frame; none when the walk meets a
/// trailer, or the end of the data, before one. The signature is not tested.
std::optional<std::uint32_t> FindSecondFrame(std::span<const std::uint8_t> image) noexcept;

}  // namespace velmora
