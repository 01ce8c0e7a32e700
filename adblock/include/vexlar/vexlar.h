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
/// over as a whole. `RESULT_INVALID_ARGUMENT` when they hold neither a rule nor a size: what was in
/// force stays.
velmora::Status VexlarUseLists(const char *paths);

/// What a host wants to be used. All strings and arrays are the caller's and only read during the
/// call; an array may be null when its count is 0.
struct VexlarChoice {
  /// `sizeof(VexlarChoice)`.
  std::uint32_t size;
  std::uint32_t list_count;
  std::uint32_t extra_list_count;
  std::uint32_t rule_count;
  /// Files and folders in the place of the system's lists; none: the system's. The environment
  /// variable stands above them.
  const char *const *lists;
  /// Files and folders that are read after those, whichever they are.
  const char *const *extra_lists;
  /// Rules, each a line as lists have them, that are read last: `||ads.example^`,
  /// `@@||good.example^`, or a host alone.
  const char *const *rules;
  /// What reports call the list that `rules` make, such as the file that they stand in. Line
  /// numbers count the rules. Null: "the host's rules".
  const char *rules_name;
};

/// Loads what is chosen, as `VexlarUseLists` does, with the same answers. May run on a thread of
/// its own while others ask: a question is answered by the lists in force when it is asked, so that
/// of an answer that is filtered meanwhile the first elements are judged by the old lists and the
/// others by the new ones. Loads that come together run one after the other, in no certain order.
velmora::Status VexlarUse(const VexlarChoice *choice);

/// Reads the lists again, with the same answers. Cheap when they have not changed.
velmora::Status VexlarReload();

/// Describes the lists in force, what was read in them, and what went wrong at the last load, as
/// text for people: at most `size` bytes with the NUL. Returns the length of the whole text.
std::uint32_t VexlarDescribe(char *text, std::uint32_t size);

/// How a list came to be used.
enum VexlarOrigin : std::uint32_t {
  VEXLAR_ORIGIN_ENVIRONMENT = 0,
  VEXLAR_ORIGIN_LISTS = 1,
  VEXLAR_ORIGIN_INSTALLED = 2,
  VEXLAR_ORIGIN_BUILT_IN = 3,
  VEXLAR_ORIGIN_EXTRA_LISTS = 4,
  VEXLAR_ORIGIN_RULES = 5,
};

/// One list in force. Counts are of lines, `rules` of rules: a line of a hosts file makes several.
struct VexlarList {
  const char *name;
  VexlarOrigin origin;
  std::uint32_t lines;
  std::uint32_t rules;
  /// Said by an earlier line already; taken out of force by a `badfilter` line.
  std::uint32_t repeated;
  std::uint32_t cancelled;
  /// Not for judging URLs, or not understood; of these, in error.
  std::uint32_t skipped;
  std::uint32_t unreadable;
  std::uint32_t sizes;
};

/// Calls `visit` for each list in force, in their order, and with the `context` given; the list is
/// there for the time of the call. Returns how many rules are in force in all.
std::uint32_t VexlarVisitLists(void (*visit)(void *context, const VexlarList *list), void *context);

/// Calls `visit` for each thing that went wrong at the last load, one line each, such as a list
/// that could not be read. Returns how many there are.
std::uint32_t VexlarVisitProblems(void (*visit)(void *context, const char *problem), void *context);

}  // extern "C"
