// A preset that somebody chose while the filter runs: it stands in the place of what the policy's
// [filter] blocks, below the policy's rules. It is a word in a file of its own in the state folder,
// which the hosts watch.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "host/policy/policy.h"

namespace velmora::host {

/// The file, beside that of exceptions.
std::filesystem::path ChosenPresetFile(const Policy &policy);

/// The word; empty where nobody chose one. Throws `std::system_error` when there is a file that
/// cannot be read.
std::string ChosenPreset(const Policy &policy);

/// Chooses one; an empty word is the policy's own again. Throws `std::invalid_argument` for a word
/// that is no preset, and `std::system_error`.
void ChoosePreset(const Policy &policy, std::string_view preset);

/// Has what was chosen count. Throws what reading it throws, and `std::invalid_argument` for a file
/// with another word.
void UseChosenPreset(Policy &policy);

}  // namespace velmora::host
