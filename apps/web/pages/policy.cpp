// The policy as it applies to an address and a client.
#include <string>

#include "command/answers/applied.h"
#include "host/bodies/categories.h"
#include "host/policy/chosen_preset.h"
#include "host/web/client_network.h"
#include "host/web/url.h"
#include "web/layout.h"
#include "web/pages/pages.h"
#include "web/pages/parts.h"

namespace velmora::web {
namespace {

Markup Question(const std::string &url, const std::string &client) {
  Markup html;
  html << "<form method=\"get\" action=\"/policy\" class=\"fields\">\n"
          "<label>Address of a page\n<input name=\"url\" inputmode=\"url\" "
          "placeholder=\"https://www.example.com/\" value=\""
       << url
       << "\"></label>\n<label>IP address of a device\n<input name=\"client\" "
          "placeholder=\"192.168.1.20\" value=\""
       << client << "\"></label>\n<button class=\"main\">What applies?</button>\n</form>\n";
  return html;
}

/// The presets, and which one holds.
Markup Presets(const Visit &visit, const host::Policy &policy) {
  const std::string chosen = host::ChosenPreset(policy);
  const host::CategorySet everywhere = policy.everywhere.block.Without(policy.everywhere.allow);
  Markup html;
  html << "<h2>What is blocked everywhere</h2>\n<ul class=\"rows\">\n";
  for (const host::CategoryGroup &group : host::CATEGORY_GROUPS) {
    if (!group.is_preset) continue;
    const bool holds = everywhere.Preset() == group.name;
    html << "<li><span class=\"grow\"><strong>" << group.name << "</strong> <span class=\"small\">"
         << group.meaning << "</span></span>";
    if (holds) {
      html << "<span class=\"tag\">in force</span>";
    } else if (visit.session.role == Role::CHANGE) {
      html << Button(visit, "/preset", Hidden("preset", group.name), "Choose");
    }
    html << "</li>\n";
  }
  html << "</ul>\n";
  if (chosen.empty()) {
    html << "<p class=\"small\">As the policy says. Its rules, and what was allowed, stand above "
            "it.</p>\n";
  } else {
    html << "<p><strong>" << chosen << "</strong> was chosen in the place of what the policy says. "
         << "Its rules, and what was allowed, stand above it.</p>\n";
    if (visit.session.role == Role::CHANGE) {
      html << Button(visit, "/preset", {}, "As the policy says again");
    }
  }
  return html;
}

/// What is wrong with the question; empty when nothing is.
std::string Problem(const std::string &url, const std::string &client) {
  if (!url.empty() && host::HostOfUrl(url).empty()) return "That is no URL with a host: " + url;
  if (!client.empty() && !host::ClientAddress::Parse(client)) {
    return "That is no IP address: " + client;
  }
  return {};
}

}  // namespace

Response PolicyPage(const Visit &visit) {
  std::string url(visit.request.Field("url"));
  const std::string client(visit.request.Field("client"));
  if (!url.empty() && url.find("://") == url.npos) url.insert(0, "http://");
  const host::Policy policy = CurrentPolicy(visit);
  Markup html;
  html << "<h2>What applies to a page and a device</h2>\n" << Question(url, client);
  if (const std::string problem = Problem(url, client); !problem.empty()) {
    html << "<p class=\"problem\" role=\"alert\">" << problem << "</p>\n";
  } else {
    const command::Sheet applied = command::Applied(policy, url, {.client = client});
    html << "<section class=\"card\"><h2>" << applied.title << "</h2>\n"
         << Values(applied) << "</section>\n";
  }
  html << Presets(visit, policy);
  html << "<p>The policy is written in <code>" << visit.options.policy.string() << "</code>.</p>\n";
  return Page(visit, "Policy", html);
}

Response Choose(const Visit &visit) {
  host::ChoosePreset(CurrentPolicy(visit), visit.request.Field("preset"));
  return GoTo("/policy");
}

}  // namespace velmora::web
