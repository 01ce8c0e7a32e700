// A policy's own examples, for the commands that look at policies.
#pragma once

#include <cstddef>
#include <string>

#include "host/loading/plugin.h"
#include "host/policy/policy.h"

namespace velmora::command {

/// A line on standard error for each that comes out otherwise; how many those are.
std::size_t PrintDifferences(const std::string &file, const host::Policy &policy,
                             const host::Plugin &plugin);

}  // namespace velmora::command
