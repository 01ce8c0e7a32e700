// Events of the store, as the pages list them.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "host/policy/policy.h"
#include "store/event_store.h"
#include "web/layout.h"

namespace velmora::web {

/// The store of the event log, with what the log has got until now; none where there is no log yet.
/// Throws what the store throws.
std::optional<store::EventStore> StoreOf(const Visit &visit, const host::Policy &policy);

/// The key of an event in a field; none in another text.
std::optional<std::int64_t> KeyIn(std::string_view text);

/// How far back is looked: "1h", "24h", "7d", "30d"; "24h" for another text.
struct Span {
  std::string_view name;
  Literal label;
  std::chrono::hours time;
};
const Span &SpanOf(std::string_view name);
/// Links to the same page over each span.
Markup SpanLinks(const Visit &visit, const Span &current);

/// A line each, with "why" and "allow here".
Markup EventRows(const Visit &visit, const store::EventPage &page);

/// The query of a page that lists events: "/events?site=...".
std::string EventsWith(std::string_view name, std::string_view value, const Span &span);

}  // namespace velmora::web
