// Ad lists from the web: where they lie in a policy's state folder, and when they are used.
//
// Whoever fetches them writes each under its name, and then the stamp, by which proxies see that
// there is something new.
#pragma once

#include <filesystem>
#include <string_view>

#include "host/policy/policy.h"

namespace velmora::host {

/// The file of the list that a URL names: a part of the URL to be read by people, and a hash of the
/// whole, since URLs may differ in signs that no name can have. One from before there were hashes
/// is used on, by the URL that its record names.
std::filesystem::path FetchedList(const std::filesystem::path &state_folder, std::string_view url);

/// The stamp.
std::filesystem::path FetchedListsStamp(const std::filesystem::path &state_folder);

/// Once all lists are there, they stand beside the named `lists`, or in the place of the system's
/// where none are named. Until then the system's count, and those that are there beside them.
void UseFetchedLists(Policy &policy);

}  // namespace velmora::host
