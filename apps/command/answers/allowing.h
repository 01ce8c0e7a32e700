// What somebody lets pass while the filter runs: the exceptions beside a policy.
#pragma once

#include <filesystem>
#include <string>

#include "host/policy/exceptions.h"

namespace velmora::command {

/// The file of a policy's exceptions. Throws what reading the policy throws, and
/// `std::runtime_error` when there is no such policy.
std::filesystem::path ExceptionsOf(const std::filesystem::path &policy);

/// Has an exception run out in so long: "30min", "1h", "7d". Throws `std::invalid_argument`.
void RunOutIn(host::Exception &exception, const std::string &span);

}  // namespace velmora::command
