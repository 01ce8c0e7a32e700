// The functions that libvexlar.so exports beside the module contract of <velmora/module.h>.
//
// A host that wants advertisements filtered loads libvexlar.so before the plug-in, which finds it
// by its name. That is all that is needed: the first object that is made loads the lists that the
// environment variable VEXLAR_LISTS names (files and folders, colon-separated), else the host's
// choice, else those that the system has installed, else a small built-in list. All functions may
// be called by any thread at any time; questions that are asked meanwhile do not wait.
#pragma once

#include <cstdint>

#include <velmora/identifier.h>
#include <velmora/status.h>

namespace velmora {

/// The library's object: what `GetFactory` is asked for, and what "Ordinal_3" answers.
/// {6B0C2F1D-94A7-4E5B-8D37-51F2C06A9E84}
inline constexpr Identifier ID_VexlarObject{{0x1D, 0x2F, 0x0C, 0x6B, 0xA7, 0x94, 0x5B, 0x4E, 0x8D,
                                             0x37, 0x51, 0xF2, 0xC0, 0x6A, 0x9E, 0x84}};

}  // namespace velmora

extern "C" {

/// Chooses the lists, files and folders, colon-separated, and loads them at once; null or empty
/// goes back to the system's. The environment variable stands above the choice. The new lists take
/// over as a whole. `RESULT_INVALID_ARGUMENT` when they hold no rule: what was in force stays.
velmora::Status VexlarUseLists(const char *paths);

/// Reads the lists again, with the same answers. Cheap when they have not changed.
velmora::Status VexlarReload();

/// Describes the lists in force, what was read in them, and what went wrong at the last load, as
/// text for people: at most `size` bytes with the NUL. Returns the length of the whole text.
std::uint32_t VexlarDescribe(char *text, std::uint32_t size);

}  // extern "C"
