// velmora https: has the service look into encrypted traffic, or pass it on again. What that takes
// is the proxy's own: a script beside the plug-in, which comes with the service, does it.
#include <cerrno>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>

#include "command/commands.h"
#include "host/loading/installation.h"

namespace velmora::command {
namespace {

int Https(const std::string &state) {
  const std::filesystem::path script = host::PluginFolder() / "https";
  if (!std::filesystem::exists(script)) {
    throw std::runtime_error(
        "there is no service here that could be switched: it comes with the packages velmora-squid "
        "and velmora-trafficserver. docs/squid.md and docs/trafficserver.md say what other proxies "
        "take");
  }
  execl(script.c_str(), script.c_str(), state.empty() ? nullptr : state.c_str(), nullptr);
  throw std::system_error(errno, std::generic_category(), script.string());
}

}  // namespace

void AddHttps(CLI::App &application, Action &action) {
  CLI::App &command = *application.add_subcommand(
      "https", "Have the service velmora-proxy look into encrypted traffic");
  const auto state = std::make_shared<std::string>();
  command.add_option("STATE", *state, "on or off (default: say which)")
      ->type_name("")
      ->check(CLI::IsMember({"on", "off"}));
  command.footer(
      "The proxy then answers in each site's name, with certificates of an authority that is made "
      "the\nfirst time; devices have to trust it. docs/packages.md tells more.");
  command.callback([state, &action] { action = [state] { return Https(*state); }; });
}

}  // namespace velmora::command
