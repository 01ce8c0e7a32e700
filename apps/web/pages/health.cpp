#include "command/answers/health.h"

#include <string>

#include "web/layout.h"
#include "web/pages/pages.h"
#include "web/pages/parts.h"

namespace velmora::web {

Response HealthPage(const Visit &visit) {
  command::Findings findings = command::CheckHealth({.policy = visit.options.policy.string(),
                                                     .log = visit.options.log,
                                                     .proxy = visit.options.proxy,
                                                     .span = "24h"});
  if (const std::string trouble = visit.events.Trouble(); !trouble.empty()) {
    findings.Add(command::HealthState::WARNING, "what was blocked is not all known: " + trouble);
  }
  command::Sheet measures;
  for (const auto &[name, value] : findings.measures) measures.Add(name, value);
  measures.Add("version", VELMORA_VERSION);
  measures.Add("policy", visit.options.policy.string());
  measures.Add("proxy", visit.options.proxy);
  Markup html;
  html << FindingList(findings) << "<h2>Figures of the last 24 hours</h2>\n" << Values(measures);
  return Page(visit, "Health", html);
}

}  // namespace velmora::web
