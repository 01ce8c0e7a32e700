// The event log, to search.
#include <optional>
#include <stdexcept>
#include <string>

#include "host/bodies/categories.h"
#include "web/layout.h"
#include "web/pages/event_rows.h"
#include "web/pages/pages.h"
#include "web/pages/parts.h"

namespace velmora::web {
namespace {

constexpr std::size_t MOST_ROWS = 50;

/// The parts of the question that are texts, as the form and the links to more have them.
constexpr Literal FIELDS[] = {"text", "site", "client", "category", "rule"};

/// Throws `std::invalid_argument` that says what is wrong with a field.
store::Filter FilterOf(const Request &request, const Span &span) {
  store::Filter filter{.from = std::chrono::system_clock::now() - span.time};
  filter.text = request.Field("text");
  filter.rule = request.Field("rule");
  if (const auto site = request.Field("site"); !site.empty()) filter.sites.Add(site);
  if (const auto client = request.Field("client"); !client.empty()) {
    filter.clients = {host::ClientNetwork::Parse(client)};
  }
  if (const auto category = request.Field("category"); !category.empty()) {
    filter.categories = host::CategorySet::Parse(category);
  }
  return filter;
}

Markup Question(const Request &request, const Span &span) {
  Markup html;
  html << "<form method=\"get\" action=\"/events\" class=\"fields\" role=\"search\">\n"
          "<label>Address, rule or id\n<input name=\"text\" type=\"search\" value=\""
       << request.Field("text") << "\"></label>\n<label>Site\n<input name=\"site\" value=\""
       << request.Field("site") << "\"></label>\n<label>Device\n<input name=\"client\" value=\""
       << request.Field("client")
       << "\"></label>\n<label>Category\n<select name=\"category\"><option value=\"\">all</option>";
  for (const host::Category &category : host::CATEGORY_TABLE) {
    html << "<option";
    if (category.name == request.Field("category")) html << " selected";
    html << ">" << category.name << "</option>";
  }
  html << "</select></label>\n" << Hidden("span", span.name);
  if (!request.Field("rule").empty()) {
    html << "<label>Rule\n<input name=\"rule\" value=\"" << request.Field("rule")
         << "\"></label>\n";
  }
  html << "<button class=\"main\">Search</button>\n</form>\n";
  return html;
}

Markup Older(const Request &request, const Span &span, const store::EventPage &page) {
  Markup html;
  if (!page.is_more) return html;
  html << "<p class=\"pager\"><a href=\"/events?span=" << span.name;
  for (const Literal &field : FIELDS) {
    if (!request.Field(field.Text()).empty()) {
      html << "&amp;" << field << "=" << ForQuery(request.Field(field.Text()));
    }
  }
  html << "&amp;before=" << page.events.back().key << "\">Older ones</a></p>\n";
  return html;
}

}  // namespace

Response EventsPage(const Visit &visit) {
  const Request &request = visit.request;
  const Span &span = SpanOf(request.Field("span"));
  Markup html;
  html << SpanLinks(visit, span) << Question(request, span);
  const auto events = StoreOf(visit, CurrentPolicy(visit));
  if (!events) {
    html << "<p class=\"empty\">Nothing is known yet.</p>\n";
    return Page(visit, "Activity", html);
  }
  try {
    const auto page =
        events->Events(FilterOf(request, span), MOST_ROWS, KeyIn(request.Field("before")));
    html << EventRows(visit, page) << Older(request, span, page);
  } catch (const std::invalid_argument &error) {
    html << "<p class=\"problem\" role=\"alert\">" << std::string(error.what()) << "</p>\n";
  }
  return Page(visit, "Activity", html);
}

}  // namespace velmora::web
