// velmora health: is all well with a proxy that filters? The exit code and the line are those of a
// plug-in for Nagios and what came after it: 0 yes, 1 with something to look at, 2 no, 3 not to be
// told.
//
//   VELMORA WARNING: 2 errors in 15min, the last: no memory; 812 blocked in 15min|blocked=812
//   stopped=0 errors=2 missing=0 list_age=7200s
#include "command/answers/health.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <vector>

#include "command/answers/event_filter.h"
#include "command/answers/files.h"
#include "command/answers/messages.h"
#include "command/commands.h"
#include "host/policy/policy.h"

namespace velmora::command {
namespace {

/// By state.
constexpr int EXIT_CODES[] = {0, 3, 1, 2};

/// The worst first; "|" begins the measures.
std::string Line(const Findings &findings) {
  auto found = findings.found;
  std::ranges::stable_sort(found, std::ranges::greater(),
                           [](const auto &one) { return one.first; });
  std::string text;
  for (const auto &one : found) text += (text.empty() ? "" : "; ") + one.second;
  text = fmt::format("VELMORA {}: {}", NameOf(findings.state), text);
  std::ranges::replace(text, '|', ' ');
  text = Printable(text, 1000);
  char before = '|';
  for (const auto &[name, value] : findings.measures) {
    text += fmt::format("{}{}={}", before, name, value);
    before = ' ';
  }
  return text + "\n";
}

int Health(const HealthQuestion &question) {
  const Findings findings = CheckHealth(question);
  Output output({});
  output.Write(Line(findings));
  output.Finish();
  return EXIT_CODES[static_cast<std::size_t>(findings.state)];
}

std::string CheckSpan(const std::string &text) {
  return ParseSpan(text) ? "" : "\"" + text + "\" is no span of time, such as 15min or 24h";
}

}  // namespace

void AddHealth(CLI::App &application, Action &action) {
  const auto options =
      std::make_shared<HealthQuestion>(HealthQuestion{.policy = host::DefaultPolicy()});
  CLI::App &command = *application.add_subcommand("health", "Tell a monitor whether all is well");
  command.add_option("--policy", options->policy, "The policy's file")
      ->type_name("FILE")
      ->capture_default_str();
  command
      .add_option("--proxy", options->proxy, "A proxy that has to answer, such as 127.0.0.1:3128")
      ->type_name("HOST:PORT");
  command.add_option("--within", options->span, "How far back the event log is looked at")
      ->type_name("SPAN")
      ->check(CheckSpan)
      ->capture_default_str();
  command.footer(
      "The exit code is that of plug-ins for Nagios: 0 all is well, 1 something to look at, 2 it "
      "is not,\n"
      "3 that cannot be told.");
  command.callback([options, &action] { action = [options] { return Health(*options); }; });
}

}  // namespace velmora::command
