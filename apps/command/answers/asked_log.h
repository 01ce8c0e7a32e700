// The event log that questions are about.
#pragma once

#include <filesystem>

#include "host/policy/policy.h"

namespace velmora::command {

/// The policy's event log, with what the policy says of it: how long what is kept, and how much of
/// addresses and clients. `file` is another log, whose store lies beside it; the policy's where it
/// is empty. No file where neither names one.
host::EventLogOptions AskedLog(const host::Policy &policy, const std::filesystem::path &file);

/// The same, of a policy's file, which need not be there for another log. Throws
/// `host::PolicyError`, and `std::runtime_error` where neither names a file.
host::EventLogOptions AskedLog(const std::filesystem::path &policy,
                               const std::filesystem::path &file);

}  // namespace velmora::command
