// Whether all is well with a proxy that filters: findings in the words and degrees of monitors.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::command {

/// Those of plug-ins for Nagios and what came after it; worse ones are greater.
enum class HealthState { OK, UNKNOWN, WARNING, CRITICAL };

/// "OK", "WARNING".
std::string_view NameOf(HealthState state) noexcept;

/// What was found, one after the other.
struct Findings {
  /// The worst of them.
  HealthState state = HealthState::OK;
  std::vector<std::pair<HealthState, std::string>> found{};
  /// Measures by name, "blocked" and "812".
  std::vector<std::pair<std::string, std::string>> measures{};

  void Add(HealthState finding, std::string text);
  void Measure(std::string_view name, std::string value) {
    measures.emplace_back(name, std::move(value));
  }
};

struct HealthQuestion {
  /// The policy's file.
  std::string policy{};
  /// The event log; empty: the one that the policy names.
  std::filesystem::path log{};
  /// A proxy that has to answer, "HOST:PORT"; empty: none is asked.
  std::string proxy{};
  /// How far back the event log is looked at, as `ParseSpan` reads it.
  std::string span = "15min";
};

/// Whatever goes wrong is a finding.
Findings CheckHealth(const HealthQuestion &question);

}  // namespace velmora::command
