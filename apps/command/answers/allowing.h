// What somebody lets pass while the filter runs: the exceptions beside a policy.
#pragma once

#include <filesystem>
#include <string>

#include "host/policy/exceptions.h"
#include "host/policy/policy.h"

namespace velmora::command {

/// The file of a policy's exceptions. Throws what reading the policy throws, and
/// `std::runtime_error` when there is no such policy.
std::filesystem::path ExceptionsOf(const std::filesystem::path &policy);

/// Has an exception run out in so long: "30min", "1h", "7d". Throws `std::invalid_argument`.
void RunOutIn(host::Exception &exception, const std::string &span);

/// Limits an exception to a group of the policy. Throws `std::invalid_argument` when it has none of
/// that name.
void LimitToGroup(host::Exception &exception, const host::Policy &policy, const std::string &name);

/// Limits it to some categories, the policy's own among them. Throws `std::invalid_argument`.
void LimitToCategories(host::Exception &exception, const host::Policy &policy,
                       const std::string &list);

}  // namespace velmora::command
