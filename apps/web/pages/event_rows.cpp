#include "web/pages/event_rows.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <utility>

#include "command/answers/asked_log.h"
#include "host/bodies/categories.h"
#include "store/feeding.h"
#include "web/pages/parts.h"

namespace velmora::web {
namespace {

constexpr Span SPANS[] = {
    {"24h", "24 hours", std::chrono::hours(24)},
    {"1h", "Hour", std::chrono::hours(1)},
    {"7d", "Week", std::chrono::days(7)},
    {"30d", "30 days", std::chrono::days(30)},
};

/// What happened, in a word or two.
Markup Tag(const host::Event &event) {
  Markup html;
  const std::string_view category = host::NameOfCategory(event.category);
  switch (event.kind) {
    case host::EventKind::BLOCKED:
      html << "<span class=\"tag\">" << category << "</span>";
      break;
    case host::EventKind::FILTERED:
      html << "<span class=\"tag\">filtered</span>";
      break;
    case host::EventKind::GUARDED:
      html << "<span class=\"tag\">guarded: " << category << "</span>";
      break;
    case host::EventKind::LEFT_OUT:
      html << "<span class=\"tag\">not guarded: " << category << "</span>";
      break;
    case host::EventKind::OPENED:
      html << "<span class=\"tag\">opened once</span>";
      break;
    case host::EventKind::ALLOWED:
      html << "<span class=\"tag\">allowed</span>";
      break;
    case host::EventKind::STOPPED:
      html << "<span class=\"tag bad\">given up</span>";
      break;
    case host::EventKind::ERROR:
      html << "<span class=\"tag bad\">error</span>";
      break;
    case host::EventKind::DROPPED:
      html << "<span class=\"tag bad\">" << event.count << " events lost</span>";
      break;
    case host::EventKind::COUNTERS:
      // The store has none.
      break;
  }
  return html;
}

/// What it happened to.
std::string What(const host::Event &event) {
  if (event.kind == host::EventKind::FILTERED) {
    return std::to_string(event.items) + " items and " + Bytes(event.saved) + " less: " + event.url;
  }
  if (!event.reason.empty()) {
    return event.reason + (event.url.empty() ? "" : ": " + event.url);
  }
  if (!event.type.empty() || event.item.empty()) return event.url;
  return event.item;
}

Markup Row(const Visit &visit, const store::StoredEvent &stored) {
  const host::Event &event = stored.event;
  Markup html;
  html << "<li><span class=\"time\">" << Moment(event.time) << "</span>" << Tag(event)
       << "<span class=\"grow\"><span class=\"address\">" << What(event)
       << "</span><span class=\"small\">";
  if (!stored.site.empty()) html << "on " << stored.site;
  if (!event.client.empty()) html << " for " << event.client;
  html << "</span></span>";
  if (event.kind == host::EventKind::BLOCKED) {
    html << "<a href=\"/why?key=" << stored.key << "\">Why?</a>" << AllowButton(visit, event);
  }
  html << "</li>\n";
  return html;
}

}  // namespace

std::optional<store::EventStore> StoreOf(const Visit &visit, const host::Policy &policy) {
  if (LogOf(visit, policy).empty()) return std::nullopt;
  const host::EventLogOptions log = command::AskedLog(policy, visit.options.log);
  visit.events.Bring(log);
  const std::filesystem::path store = store::StoreOf(log);
  // It may be that it could not be made.
  if (!std::filesystem::exists(store)) return std::nullopt;
  return store::EventStore(store);
}

std::optional<std::int64_t> KeyIn(std::string_view text) {
  std::int64_t key = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), key);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return key;
}

const Span &SpanOf(std::string_view name) {
  const auto *const found = std::ranges::find(SPANS, name, &Span::name);
  return found == std::end(SPANS) ? SPANS[0] : *found;
}

Markup SpanLinks(const Visit &visit, const Span &current) {
  Markup html;
  html << "<nav aria-label=\"Time\"><ul>\n";
  for (const Span &span : SPANS) {
    html << "<li><a href=\"" << visit.request.path << "?span=" << span.name << "\"";
    if (span.name == current.name) html << " aria-current=\"true\"";
    html << ">" << span.label << "</a></li>\n";
  }
  html << "</ul></nav>\n";
  return html;
}

Markup EventRows(const Visit &visit, const store::EventPage &page) {
  Markup html;
  if (page.events.empty()) {
    html << "<p class=\"empty\">Nothing of that kind.</p>\n";
    return html;
  }
  html << "<ul class=\"rows\">\n";
  for (const store::StoredEvent &event : page.events) html << Row(visit, event);
  html << "</ul>\n";
  return html;
}

std::string EventsWith(std::string_view name, std::string_view value, const Span &span) {
  std::string path = "/events?span=";
  path += span.name;
  path += '&';
  path += name;
  return path + '=' + ForQuery(value);
}

}  // namespace velmora::web
