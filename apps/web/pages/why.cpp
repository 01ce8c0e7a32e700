// What stands behind a block, the same as `velmora why`.
#include <optional>
#include <string>
#include <vector>

#include "command/answers/story.h"
#include "host/bodies/categories.h"
#include "web/layout.h"
#include "web/pages/event_rows.h"
#include "web/pages/pages.h"
#include "web/pages/parts.h"

namespace velmora::web {
namespace {

Markup Question(std::string_view asked) {
  Markup html;
  html << "<form method=\"get\" action=\"/why\" class=\"fields\">\n<label>Id of a block, or an "
          "address\n<input name=\"id\" required value=\""
       << asked << "\"></label>\n<button class=\"main\">Why?</button>\n</form>\n";
  return html;
}

Markup Told(const Visit &visit, const host::Event &event, const host::Policy &policy) {
  const command::Sheet story = command::Story(event, policy);
  Markup html;
  html << "<section class=\"card\"><h2>" << story.title << "</h2>\n" << Values(story);
  if (event.kind == host::EventKind::BLOCKED && visit.session.role == Role::CHANGE) {
    const std::string_view own = command::SiteCategoryOf(event);
    html << "<h3>Allow here</h3>\n"
         << AllowForm(visit, policy, SiteToAllow(event), event.client,
                      own.empty() ? host::NameOfCategory(event.category) : own);
  }
  html << "</section>\n";
  return html;
}

/// The events that are meant, the newest first: one of the store, or those of an id or address.
std::vector<host::Event> Meant(const Visit &visit, const host::Policy &policy) {
  const Request &request = visit.request;
  if (const auto key = KeyIn(request.Field("key"))) {
    const auto events = StoreOf(visit, policy);
    const auto found = events ? events->Find(*key) : std::nullopt;
    return found ? std::vector{found->event} : std::vector<host::Event>();
  }
  const std::string asked(request.Field("id"));
  command::FoundEvents found(asked);
  const std::filesystem::path log = LogOf(visit, policy);
  if (!log.empty()) found.Search(log.string());
  return {found.Events().rbegin(), found.Events().rend()};
}

}  // namespace

Response WhyPage(const Visit &visit) {
  const Request &request = visit.request;
  Markup html;
  html << Question(request.Field("id"));
  if (request.Field("id").empty() && request.Field("key").empty()) {
    return Page(visit, "Why?", html);
  }
  const host::Policy policy = CurrentPolicy(visit);
  const std::vector<host::Event> events = Meant(visit, policy);
  if (events.empty()) {
    html << "<p class=\"empty\">Nothing of that id or address was blocked, as far as the log "
            "goes.</p>\n";
  }
  for (const host::Event &event : events) html << Told(visit, event, policy);
  return Page(visit, "Why?", html);
}

}  // namespace velmora::web
