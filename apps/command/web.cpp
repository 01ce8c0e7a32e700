// velmora web: the filter at a glance in a browser.
#include <charconv>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "command/answers/messages.h"
#include "command/commands.h"
#include "host/policy/policy.h"
#include "host/web/client_network.h"
#include "web/origin.h"
#include "web/passwords.h"
#include "web/server.h"

namespace velmora::command {
namespace {

struct WebOptions {
  web::SiteOptions site{.policy = host::DefaultPolicy(), .proxy = "127.0.0.1:3128"};
  web::Place place{};
  std::string listen = "127.0.0.1:3180";
  bool sets_password = false;
  std::string role = "change";
};

/// "127.0.0.1:3180", "[::1]:3180".
void ReadListen(const std::string &text, web::Place &place) {
  const std::size_t colon = text.rfind(':');
  std::string address = text.substr(0, colon);
  if (address.starts_with('[') && address.ends_with(']')) {
    address = address.substr(1, address.size() - 2);
  } else if (address.find(':') != address.npos) {
    address.clear();
  }
  const std::string_view port =
      colon == text.npos ? std::string_view() : std::string_view(text).substr(colon + 1);
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), place.port);
  if (error != std::errc() || end != port.data() + port.size() || place.port == 0 ||
      !host::ClientAddress::Parse(address)) {
    throw UsageError("--listen: \"" + text + "\" is no address and port such as 127.0.0.1:3180");
  }
  place.address = address;
}

std::string CheckProxy(const std::string &text) {
  const std::size_t colon = text.rfind(':');
  const bool is_good = !web::HostOf(text).empty() && colon != text.npos && !text.ends_with(':') &&
                       !text.ends_with(']');
  return is_good ? "" : "\"" + text + "\" is no host and port such as 127.0.0.1:3128";
}

bool IsLoopback(const std::string &address) {
  const auto parsed = host::ClientAddress::Parse(address);
  return host::ClientNetwork::Parse("127.0.0.0/8").Contains(*parsed) ||
         host::ClientNetwork::Parse("::1").Contains(*parsed);
}

/// A line from the terminal, without showing it, or from what stands in its place.
std::string AskedFor(const char *prompt) {
  termios shown{};
  const bool is_terminal = tcgetattr(STDIN_FILENO, &shown) == 0;
  if (is_terminal) {
    std::fputs(prompt, stderr);
    termios hidden = shown;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  std::string line;
  std::getline(std::cin, line);
  if (is_terminal) {
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
    std::fputs("\n", stderr);
  }
  return line;
}

int SetPassword(const WebOptions &options) {
  const std::filesystem::path file = web::PasswordsOf(options.site);
  const web::Role role = options.role == "view" ? web::Role::VIEW : web::Role::CHANGE;
  const std::string password = AskedFor("New password (empty: none any more): ");
  if (isatty(STDIN_FILENO) != 0 && AskedFor("The same again: ") != password) {
    throw std::runtime_error("these were two different ones; nothing is changed");
  }
  web::SetPassword(file, role, password);
  PrintLine(fmt::format("{}: {} for those who may {}", file.string(),
                        password.empty() ? "no password any more" : "a new password",
                        options.role));
  return EXIT_OK;
}

/// Whoever has no password yet gets a link instead.
void Announce(const WebOptions &options, web::Site &site) {
  const web::Place &place = options.place;
  if (!place.socket.empty()) PrintLine("Velmora's page is on the socket " + place.socket.string());
  const std::string url = fmt::format("{}://{}/", place.certificate.empty() ? "http" : "https",
                                      place.socket.empty() ? options.listen : "localhost");
  if (place.socket.empty()) PrintLine("Velmora's page is on " + url);
  if (!web::HasPasswords(web::PasswordsOf(options.site))) {
    PrintLine("There is no password yet (--set-password). This link logs in, once:");
    PrintLine("  " + url + "start?word=" + site.MakeStartWord());
  }
}

/// Until a signal asks for its end.
void Serve(web::Server &server) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  // Before there are threads, so that it is this function that gets them.
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  std::thread waiting([&] {
    int signal = 0;
    sigwait(&signals, &signal);
    server.Stop();
  });
  server.Run();
  // Where it ended by itself.
  kill(getpid(), SIGTERM);
  waiting.join();
}

int Web(WebOptions options) {
  if (options.sets_password) return SetPassword(options);
  ReadListen(options.listen, options.place);
  const web::Place &place = options.place;
  if (place.certificate.empty() != place.key.empty()) {
    throw UsageError("--certificate and --key go together");
  }
  host::ReadPolicy(options.site.policy);
  const bool is_open = place.socket.empty() && !IsLoopback(place.address);
  if (is_open && !web::HasPasswords(web::PasswordsOf(options.site))) {
    throw std::runtime_error("others can reach " + options.listen +
                             ": that takes a password first (velmora web --set-password)");
  }
  if (is_open && place.certificate.empty()) {
    PrintMessage("warning: passwords cross the network unencrypted without --certificate");
  }
  web::Site site(options.site);
  web::Server server(site, place);
  Announce(options, site);
  Serve(server);
  return EXIT_OK;
}

}  // namespace

void AddWeb(CLI::App &application, Action &action) {
  CLI::App &command =
      *application.add_subcommand("web", "Show the filter in a browser, and let sites pass there");
  const auto options = std::make_shared<WebOptions>();
  const auto listen = command.add_option("--listen", options->listen, "Where the page is")
                          ->type_name("ADDRESS:PORT")
                          ->capture_default_str();
  command.add_option("--socket", options->place.socket, "On a Unix socket instead")
      ->type_name("PATH")
      ->excludes(listen);
  command.add_option("--policy", options->site.policy, "The policy that it is about")
      ->type_name("FILE")
      ->capture_default_str();
  command
      .add_option("--log", options->site.log,
                  "The event log (default: the one that the policy names)")
      ->type_name("FILE");
  command.add_option("--proxy", options->site.proxy, "The proxy that it is about")
      ->type_name("HOST:PORT")
      ->check(CheckProxy)
      ->capture_default_str();
  command
      .add_option("--authority", options->site.authority,
                  "The certificate with which the proxy looks into encrypted traffic")
      ->type_name("FILE");
  command
      .add_option(
          "--name", options->site.names,
          "A name by which the page is known (repeatable); addresses and localhost are known")
      ->type_name("HOST")
      ->allow_extra_args(false);
  command.add_option("--certificate", options->place.certificate, "For https: a certificate")
      ->type_name("FILE");
  command.add_option("--key", options->place.key, "For https: its key")->type_name("FILE");
  command.add_flag("--set-password", options->sets_password,
                   "Ask for a password, or read one from standard input, and end");
  command.add_option("--role", options->role, "Whose password: those who may view, or change")
      ->check(CLI::IsMember({"view", "change"}))
      ->capture_default_str();
  command.footer(
      "Without a password it prints a link that logs in. It is to be reached from this machine "
      "alone\n"
      "unless --listen says otherwise. docs/web.md tells more.");
  command.callback([options, &action] { action = [options] { return Web(*options); }; });
}

}  // namespace velmora::command
