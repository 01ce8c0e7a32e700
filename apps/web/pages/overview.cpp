// All at a glance: how much, when, where, for whom, and the latest.
#include <string>

#include "web/chart.h"
#include "web/layout.h"
#include "web/pages/event_rows.h"
#include "web/pages/pages.h"
#include "web/pages/parts.h"
#include "web/sums.h"

namespace velmora::web {
namespace {

constexpr std::size_t MOST_SHARES = 7;
constexpr std::size_t MOST_LATEST = 8;

struct Sharing {
  store::Dimension by;
  Literal title;
  /// The field of the events' page that asks for one of them.
  Literal field;
};

constexpr Sharing SHARINGS[] = {
    {store::Dimension::SITE, "Sites", "site"},
    {store::Dimension::CLIENT, "Devices", "client"},
    {store::Dimension::CATEGORY, "Categories", "category"},
    {store::Dimension::RULE, "Rules", "rule"},
};

Markup Shares(const store::EventStore &events, const store::Filter &filter, const Span &span,
              const Sharing &sharing, std::uint64_t whole) {
  Markup html;
  html << "<section class=\"card\"><h2>" << sharing.title << "</h2>\n<ul class=\"shares\">\n";
  for (const store::Sum &sum : events.Sums(sharing.by, filter, MOST_SHARES)) {
    if (sum.counts.blocked == 0) continue;
    html << "<li>";
    if (sum.name.empty()) {
      html << "<span>unknown</span>";
    } else {
      html << "<a href=\"" << EventsWith(sharing.field.Text(), sum.name, span) << "\">" << sum.name
           << "</a>";
    }
    html << "<span>" << Number(sum.counts.blocked) << "</span>"
         << ShareLine(sum.counts.blocked, whole) << "</li>\n";
  }
  html << "</ul></section>\n";
  return html;
}

}  // namespace

Response OverviewPage(const Visit &visit) {
  const Span &span = SpanOf(visit.request.Field("span"));
  Markup html;
  const auto health = command::CheckHealth(
      {.policy = visit.options.policy.string(), .log = visit.options.log, .span = "24h"});
  if (health.state != command::HealthState::OK) html << FindingList(health);
  html << SpanLinks(visit, span);
  const auto events = StoreOf(visit, CurrentPolicy(visit));
  if (!events) {
    html << "<p class=\"empty\">Nothing is known yet: as soon as something is blocked, it shows "
            "here. "
            "<a href=\"/health\">Health</a> says what may be wrong.</p>\n";
    return Page(visit, "Overview", html);
  }
  const store::Time now = std::chrono::system_clock::now();
  const store::Filter filter{.from = now - span.time};
  const store::Counts total = events->Total(filter);
  html << Tiles(total)
       << OverTime(events->Sums(store::Dimension::HOUR, filter), now - span.time, now)
       << "<div class=\"cards quarters\">\n";
  for (const Sharing &sharing : SHARINGS) {
    html << Shares(*events, filter, span, sharing, total.blocked);
  }
  html << "</div>\n<h2>The latest</h2>\n"
       << EventRows(visit, events->Events({.kinds = {host::EventKind::BLOCKED}}, MOST_LATEST))
       << "<p><a href=\"/events\">All events</a></p>\n";
  return Page(visit, "Overview", html);
}

}  // namespace velmora::web
