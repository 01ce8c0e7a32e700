// Identifiers of objects and interfaces: 16 bytes in GUID layout, compared byte for byte.
#pragma once

#include <cstdint>

namespace velmora {

/// A GUID as it is stored: the first field 32-bit and the next two 16-bit, all little-endian, then
/// eight bytes in order. Passed by pointer across module boundaries.
struct Identifier {
  std::uint8_t bytes[16];

  friend constexpr bool operator==(const Identifier &, const Identifier &) noexcept = default;
};

/// The base identifier, which every object answers. {00000000-0000-0000-0000-000000000000}
inline constexpr Identifier ID_Unknown{{}};

/// The factory interface, `IDataProcessorFactory`. {00000001-0000-0000-0000-000000000000}
inline constexpr Identifier ID_Factory{{0x01}};

/// The `IDataProcessor` interface. {55002381-0857-4A63-BA2C-733336E56469}
inline constexpr Identifier ID_DataProcessor{{0x81, 0x23, 0x00, 0x55, 0x57, 0x08, 0x63, 0x4A, 0xBA,
                                              0x2C, 0x73, 0x33, 0x36, 0xE5, 0x64, 0x69}};

/// The plug-in's object: what a host asks `GetFactory` for. {C9E63A08-CF68-4053-86F6-F06F1DC33CD3}
inline constexpr Identifier ID_ProcessorObject{{0x08, 0x3A, 0xE6, 0xC9, 0x68, 0xCF, 0x53, 0x40,
                                                0x86, 0xF6, 0xF0, 0x6F, 0x1D, 0xC3, 0x3C, 0xD3}};

/// The `IAdBlocker` interface of an ad-blocking library. {BB81F475-836B-46F1-B9FA-09878DA4681F}
inline constexpr Identifier ID_AdBlocker{{0x75, 0xF4, 0x81, 0xBB, 0x6B, 0x83, 0xF1, 0x46, 0xB9,
                                          0xFA, 0x09, 0x87, 0x8D, 0xA4, 0x68, 0x1F}};

}  // namespace velmora
