#include "command/answers/ad_lists.h"
#include "web/layout.h"
#include "web/pages/pages.h"
#include "web/pages/parts.h"

namespace velmora::web {
namespace {

Markup UpdateState(const ListUpdate::State &state) {
  Markup html;
  if (state.is_running) {
    html << "<p class=\"done\" role=\"status\">Lists are being fetched. <a href=\"/lists\">Look "
            "again</a></p>\n";
  }
  if (!state.trouble.empty()) {
    html << "<p class=\"problem\" role=\"alert\">" << state.trouble << "</p>\n";
  }
  if (!state.results.empty()) {
    command::Sheet results;
    for (const auto &[url, result] : state.results) results.Add(url, result);
    html << "<h2>The last update</h2>\n" << Values(results);
  }
  return html;
}

}  // namespace

Response ListsPage(const Visit &visit) {
  const host::Policy policy = CurrentPolicy(visit);
  const command::AdLists lists = command::AdListsOf(policy);
  Markup html;
  html << "<p><strong>" << Number(lists.rules) << "</strong> rules are in force, from "
       << lists.lists.size() << " lists.</p>\n"
       << UpdateState(visit.list_update.Now());
  if (policy.list_urls.empty()) {
    html << "<p>The lists are those that are installed: the policy names no <code>urls</code> to "
            "fetch newer ones from.</p>\n";
  } else if (visit.session.role == Role::CHANGE) {
    html << Button(visit, "/lists/update", {}, "Fetch newer lists now");
  }
  for (const std::string &problem : lists.problems) {
    html << "<p class=\"problem\">" << problem << "</p>\n";
  }
  for (const std::string &url : lists.not_fetched) {
    html << "<p class=\"problem\">Not fetched yet: " << url << "</p>\n";
  }
  html << "<div class=\"cards\">\n";
  for (const command::Sheet &list : lists.lists) {
    html << "<section class=\"card\"><h2>" << list.title << "</h2>\n"
         << Values(list) << "</section>\n";
  }
  html << "</div>\n";
  return Page(visit, "Lists", html);
}

Response UpdateLists(const Visit &visit) {
  visit.list_update.Begin(CurrentPolicy(visit));
  return GoTo("/lists");
}

}  // namespace velmora::web
