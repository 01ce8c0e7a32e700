// What stands behind a block: the events of the log that an id or an address means, and what they
// tell.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "command/answers/sheet.h"
#include "host/events/event.h"
#include "host/policy/policy.h"

namespace velmora::command {

/// The newest blocked items that are asked for, in their order.
class FoundEvents {
 public:
  /// An id of a block or of a response, or an address as the log has it. It outlives this.
  explicit FoundEvents(const std::string &asked) : asked_(asked) {}

  /// Looks through a log, compressed or not. Throws `std::system_error` and `std::runtime_error`.
  void Search(const std::string &log);

  const std::vector<host::Event> &Events() const noexcept { return events_; }
  /// With those that are not kept.
  std::size_t Count() const noexcept { return count_; }

 private:
  void Add(std::string_view line);
  bool IsMeant(const host::Event &event) const noexcept;

  const std::string &asked_;
  std::vector<host::Event> events_;
  std::size_t count_ = 0;
};

/// The category of the policy's own by which a site was blocked; empty where it was not for its
/// site.
std::string_view SiteCategoryOf(const host::Event &event) noexcept;

/// What is known of one; with a policy, what of it applies.
Sheet Story(const host::Event &event, const std::optional<host::Policy> &policy);

}  // namespace velmora::command
