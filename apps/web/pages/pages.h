// The pages. Each has a file of its own, and a row in the table of routes.cpp.
#pragma once

#include "web/request.h"
#include "web/site.h"

namespace velmora::web {

// For those who may view.
Response OverviewPage(const Visit &visit);
Response EventsPage(const Visit &visit);
Response WhyPage(const Visit &visit);
Response AllowedPage(const Visit &visit);
Response ListsPage(const Visit &visit);
Response PolicyPage(const Visit &visit);
Response HealthPage(const Visit &visit);

// For those who may change.
Response Allow(const Visit &visit);
Response TakeBack(const Visit &visit);
Response Choose(const Visit &visit);
Response UpdateLists(const Visit &visit);

// For everybody.
Response LoginPage(const Visit &visit);
Response StyleSheet(const Visit &visit);
Response Icon(const Visit &visit);
Response SetupPage(const Visit &visit);
Response AuthorityAsDer(const Visit &visit);
Response AuthorityAsPem(const Visit &visit);
Response ProxyScript(const Visit &visit);

}  // namespace velmora::web
