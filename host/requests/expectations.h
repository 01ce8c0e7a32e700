// Expectations: a policy's examples, held against what it comes to.
#pragma once

#include <string>
#include <vector>

#include "host/loading/plugin.h"
#include "host/policy/policy.h"

namespace velmora::host {

/// An example that comes out otherwise.
struct Difference {
  const Expectation *expectation = nullptr;
  /// "expected blocked, is passed".
  std::string message{};
};

/// Those of the policy's examples that differ; they point into it.
std::vector<Difference> Differences(const Policy &policy, const Plugin &plugin);

/// "http://shop.example/ for 10.1.2.3 at Mon 09:00".
std::string Describe(const Expectation &expectation);

}  // namespace velmora::host
