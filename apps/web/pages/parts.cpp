#include "web/pages/parts.h"

#include <string>

#include "command/answers/asked_log.h"
#include "command/answers/story.h"
#include "host/bodies/categories.h"
#include "host/web/url.h"

namespace velmora::web {
namespace {

Literal ClassOf(command::HealthState state) {
  switch (state) {
    case command::HealthState::OK:
      return "good";
    case command::HealthState::UNKNOWN:
    case command::HealthState::WARNING:
      return "doubtful";
    case command::HealthState::CRITICAL:
      return "bad";
  }
  return "bad";
}

}  // namespace

host::Policy CurrentPolicy(const Visit &visit) {
  host::Policy policy = host::ReadPolicy(visit.options.policy);
  policy.exceptions = host::ReadExceptions(policy.exceptions_file);
  return policy;
}

std::filesystem::path LogOf(const Visit &visit, const host::Policy &policy) {
  const std::filesystem::path log = command::AskedLog(policy, visit.options.log).file;
  return std::filesystem::exists(log) ? log : std::filesystem::path();
}

Markup FindingList(const command::Findings &findings) {
  Markup html;
  html << "<ul class=\"findings\">\n";
  for (const auto &[state, text] : findings.found) {
    html << "<li class=\"" << ClassOf(state) << "\"><strong>" << command::NameOf(state)
         << "</strong> " << text << "</li>\n";
  }
  html << "</ul>\n";
  return html;
}

std::string SiteToAllow(const host::Event &event) {
  const bool is_own = event.page.empty() || !command::SiteCategoryOf(event).empty();
  return std::string(host::HostOfUrl(is_own ? event.url : event.page));
}

Markup AllowButton(const Visit &visit, const host::Event &event) {
  const std::string site = SiteToAllow(event);
  if (visit.session.role != Role::CHANGE || site.empty()) return {};
  Markup fields;
  fields << Hidden("site", site) << Hidden("client", event.client);
  return Button(visit, "/allow", fields, "Allow here");
}

Markup AllowForm(const Visit &visit, const host::Policy &policy, const std::string &site,
                 const std::string &client, std::string_view category) {
  if (visit.session.role != Role::CHANGE) return {};
  Markup fields;
  fields << "<label>Site, with its sub-domains\n<input name=\"site\" required value=\"" << site
         << "\"></label>\n<label>For\n<select name=\"client\">";
  if (!client.empty()) fields << "<option value=\"" << client << "\">" << client << "</option>";
  for (const auto &group : policy.groups) {
    const std::string name = std::string(GROUP) + group->name;
    fields << "<option value=\"" << name << "\">" << name << "</option>";
  }
  fields << "<option value=\"\">everybody</option></select></label>\n"
            "<label>How long\n<select name=\"for\"><option value=\"\">until taken back</option>"
            "<option value=\"1h\">an hour</option><option value=\"1d\">a day</option>"
            "<option value=\"7d\">a week</option></select></label>\n"
            "<label>What\n<select name=\"categories\"><option value=\"\">everything</option>";
  if (!category.empty()) {
    fields << "<option value=\"" << category << "\">only " << category << "</option>";
  }
  fields << "</select></label>\n<button class=\"main\">Allow</button>";
  Markup html;
  html << "<div class=\"fields\">" << Form(visit, "/allow", fields) << "</div>\n";
  return html;
}

}  // namespace velmora::web
