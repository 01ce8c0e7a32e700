#include "web/site.h"

#include <algorithm>
#include <exception>
#include <string_view>

#include "host/policy/policy.h"
#include "store/event_store.h"
#include "web/layout.h"
#include "web/origin.h"
#include "web/pages/pages.h"
#include "web/passwords.h"
#include "web/secrets.h"

namespace velmora::web {
namespace {

constexpr std::string_view COOKIE = "velmora-session";

struct Route {
  std::string_view method;
  std::string_view path;
  Role role;
  Response (*answer)(const Visit &visit);
  /// Whatever name the browser knows this machine by, which others hand out: it tells nothing.
  bool is_for_any_host = false;
};

constexpr Route ROUTES[] = {
    {"GET", "/", Role::VIEW, OverviewPage},
    {"GET", "/events", Role::VIEW, EventsPage},
    {"GET", "/why", Role::VIEW, WhyPage},
    {"GET", "/allowed", Role::VIEW, AllowedPage},
    {"GET", "/lists", Role::VIEW, ListsPage},
    {"GET", "/policy", Role::VIEW, PolicyPage},
    {"GET", "/health", Role::VIEW, HealthPage},
    {"POST", "/allow", Role::CHANGE, Allow},
    {"POST", "/take-back", Role::CHANGE, TakeBack},
    {"POST", "/preset", Role::CHANGE, Choose},
    {"POST", "/lists/update", Role::CHANGE, UpdateLists},
    {"GET", "/login", Role::NOBODY, LoginPage},
    {"GET", "/style.css", Role::NOBODY, StyleSheet},
    {"GET", "/icon.svg", Role::NOBODY, Icon},
    {"GET", "/setup", Role::NOBODY, SetupPage},
    {"GET", "/setup/velmora.crt", Role::NOBODY, AuthorityAsDer},
    {"GET", "/setup/velmora.pem", Role::NOBODY, AuthorityAsPem},
    {"GET", "/proxy.pac", Role::NOBODY, ProxyScript, true},
    {"GET", "/wpad.dat", Role::NOBODY, ProxyScript, true},
};

/// The page's own word in the Cookie header; empty when there is none.
std::string_view SessionWord(std::string_view cookies) {
  while (!cookies.empty()) {
    const std::size_t end = std::min(cookies.find(';'), cookies.size());
    std::string_view cookie = cookies.substr(0, end);
    cookies.remove_prefix(std::min(end + 1, cookies.size()));
    cookie.remove_prefix(std::min(cookie.find_first_not_of(' '), cookie.size()));
    if (cookie.starts_with(COOKIE) && cookie.substr(COOKIE.size()).starts_with('=')) {
      return cookie.substr(COOKIE.size() + 1);
    }
  }
  return {};
}

void SetCookie(Response &response, const Request &request, std::string_view word, long seconds) {
  std::string cookie(COOKIE);
  cookie += '=';
  cookie += word;
  cookie += "; Path=/; HttpOnly; SameSite=Strict; Max-Age=" + std::to_string(seconds);
  if (request.is_encrypted) cookie += "; Secure";
  response.headers.emplace_back("Set-Cookie", std::move(cookie));
}

/// A page of this site, to go on to after the login.
std::string NextOf(const Request &request) {
  const std::string_view next = request.Field("next");
  const bool is_own =
      next.starts_with('/') && !next.substr(1).starts_with('/') &&
      std::ranges::all_of(next, [](char c) { return c > ' ' && c <= '~' && c != '\\'; });
  return is_own ? std::string(next) : "/";
}

}  // namespace

std::filesystem::path PasswordsOf(const SiteOptions &options) {
  if (!options.passwords.empty()) return options.passwords;
  return host::ReadPolicy(options.policy).state_folder / "velmora.passwords";
}

std::string Site::MakeStartWord() {
  const base::MutexLock lock(mutex_);
  start_word_ = RandomWord();
  return start_word_;
}

bool Site::TakeStartWord(std::string_view word) {
  const base::MutexLock lock(mutex_);
  if (start_word_.empty() || !AreEqual(word, start_word_)) return false;
  start_word_.clear();
  return true;
}

Response Site::Answer(const Request &request) noexcept {
  try {
    try {
      return AnswerAllowed(request);
    } catch (const store::DamagedStore &damage) {
      events_.NoticeDamage();
      return Refuse(request, 500,
                    std::string(damage.what()) + ": it is made anew when you load the page again");
    } catch (const std::exception &error) {
      return Refuse(request, 500, error.what());
    }
  } catch (...) {
    return {.status = 500, .type = "text/plain"};
  }
}

Response Site::AnswerAllowed(const Request &request) {
  const auto *const route = std::ranges::find_if(ROUTES, [&](const Route &each) {
    return each.path == request.path && each.method == request.method;
  });
  const bool is_route = route != std::end(ROUTES);
  if (!(is_route && route->is_for_any_host) && !IsOwnHost(request.host, options_.names)) {
    return {.status = 421,
            .type = "text/plain; charset=utf-8",
            .body = "This page is not known by that name; --name tells it of one.\n"};
  }
  const bool is_change = request.method != "GET";
  if (is_change && IsFromElsewhere(request)) {
    return Refuse(request, 403, "That form is another site's.");
  }
  if (request.path == "/login" && is_change) return LogIn(request);
  if (request.path == "/start" && !is_change) return Start(request);
  const Session session = sessions_.Of(SessionWord(request.cookie));
  const auto is_formed = [&] { return AreEqual(request.Field("form"), session.form_word); };
  if (request.path == "/logout" && is_change && session.role != Role::NOBODY && is_formed()) {
    return LogOut(request);
  }
  if (!is_route) return Refuse(request, 404, "There is no such page.");
  if (session.role < route->role) {
    if (session.role != Role::NOBODY) {
      return Refuse(request, 403, "You may look, and not change anything.");
    }
    return is_change ? Refuse(request, 403, "You are not logged in.")
                     : GoTo("/login?next=" + ForQuery(request.path));
  }
  if (is_change && !is_formed()) {
    return Refuse(request, 403, "That form is out of date: load its page again.");
  }
  return route->answer({options_, list_update_, events_, request, session});
}

Response Site::Refuse(const Request &request, int status, std::string_view why) {
  const Session session = sessions_.Of(SessionWord(request.cookie));
  Markup html;
  html << "<p class=\"problem\" role=\"alert\">" << why << "</p>\n";
  return Page({options_, list_update_, events_, request, session}, "That did not work", html,
              status);
}

Response Site::LogIn(const Request &request) {
  const std::chrono::seconds wait = attempts_.Begin(request.client);
  if (wait.count() != 0) {
    const std::string seconds = std::to_string(wait.count());
    Response response =
        Refuse(request, 429, "Too many attempts: try again in " + seconds + " seconds.");
    response.headers.emplace_back("Retry-After", seconds);
    return response;
  }
  const std::string_view password = request.Field("password");
  const Role role = password.size() > MOST_PASSWORD
                        ? Role::NOBODY
                        : RoleOf(PasswordsOf(options_), std::string(password));
  if (role == Role::NOBODY) {
    const Session nobody;
    Request again = request;
    again.fields["wrong"] = "1";
    Response response = LoginPage({options_, list_update_, events_, again, nobody});
    response.status = 403;
    return response;
  }
  attempts_.Forgive(request.client);
  Response response = GoTo(NextOf(request));
  SetCookie(response, request, sessions_.Begin(role),
            std::chrono::seconds(Sessions::LIFETIME).count());
  return response;
}

Response Site::LogOut(const Request &request) {
  sessions_.End(SessionWord(request.cookie));
  Response response = GoTo("/login");
  SetCookie(response, request, "", 0);
  return response;
}

Response Site::Start(const Request &request) {
  if (!TakeStartWord(request.Field("word"))) return GoTo("/login");
  Response response = GoTo("/");
  SetCookie(response, request, sessions_.Begin(Role::CHANGE),
            std::chrono::seconds(Sessions::LIFETIME).count());
  return response;
}

}  // namespace velmora::web
