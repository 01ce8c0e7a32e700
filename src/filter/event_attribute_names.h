// The names of the attributes that hold event handlers.
#pragma once

#include <string_view>

namespace velmora {

/// The process-wide set of event attribute names. Read-only, so that all transactions share it.
class EventAttributeNames {
 public:
  /// Is `name`, in lower case, the name of an event attribute?
  bool IsEventAttribute(std::string_view name) const noexcept;
};

}  // namespace velmora
