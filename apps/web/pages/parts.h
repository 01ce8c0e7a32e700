// Parts that several pages show.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "command/answers/health.h"
#include "host/events/event.h"
#include "host/policy/policy.h"
#include "web/layout.h"

namespace velmora::web {

/// The policy as a proxy has it, with what was allowed since. Throws what reading either throws.
host::Policy CurrentPolicy(const Visit &visit);

/// The event log; empty where there is none.
std::filesystem::path LogOf(const Visit &visit, const host::Policy &policy);

Markup FindingList(const command::Findings &findings);

/// The site that somebody would allow to have an event's block away: its page's, but its own where
/// it was blocked for that.
std::string SiteToAllow(const host::Event &event);

/// "Allow here", at once and for this client; nothing for those who may only view.
Markup AllowButton(const Visit &visit, const host::Event &event);

/// Before the name of a group, where there could be a client.
inline constexpr std::string_view GROUP = "group ";

/// The same with all that can be chosen, the policy's groups among it.
Markup AllowForm(const Visit &visit, const host::Policy &policy, const std::string &site,
                 const std::string &client, std::string_view category);

}  // namespace velmora::web
