#include "host/requests/buttons.h"

#include <exception>
#include <string>
#include <string_view>
#include <vexlar/requests.h>

#include "host/requests/block_page.h"
#include "host/web/url.h"

namespace velmora::host {
namespace {

constexpr std::string_view FOLDER = "/.well-known/velmora/";
constexpr std::string_view OPEN = "open";
constexpr std::string_view ALLOW = "allow";
constexpr std::string_view PERMIT_FIELD = "?permit=";
constexpr std::string_view URL_FIELD = "&url=";

/// "http://www.example.com:8080" of a URL.
std::string_view OriginOf(std::string_view url) noexcept {
  const std::size_t scheme = url.find("://");
  if (scheme == url.npos) return {};
  return url.substr(0, url.find_first_of("/?#", scheme + 3));
}

std::string PathOf(Permits &permits, std::string_view action, const RequestHead &request) {
  const std::string permit = permits.Offer({action, request.who.client, request.url});
  std::string path(FOLDER);
  path.append(action).append(PERMIT_FIELD).append(permit);
  return path.append(URL_FIELD).append(EscapeForQuery(request.url));
}

struct Pressed {
  std::string_view action;
  std::string_view permit;
  std::string url;
};

std::optional<Pressed> Read(const RequestHead &request) {
  if (request.method != "POST") return std::nullopt;
  std::string_view rest = request.url;
  rest.remove_prefix(OriginOf(rest).size());
  if (!rest.starts_with(FOLDER)) return std::nullopt;
  rest.remove_prefix(FOLDER.size());
  const std::size_t permit = rest.find(PERMIT_FIELD);
  const std::size_t url = rest.find(URL_FIELD);
  if (permit == rest.npos || url == rest.npos || url < permit) return std::nullopt;
  const std::string_view action = rest.substr(0, permit);
  if (action != OPEN && action != ALLOW) return std::nullopt;
  const std::size_t begin = permit + PERMIT_FIELD.size();
  return Pressed{action, rest.substr(begin, url - begin),
                 Unescaped(rest.substr(url + URL_FIELD.size()))};
}

/// Browsers say where a form was sent from, those that say more also how.
bool ComesFromItsPage(const RequestHead &request) {
  using enum RequestHeader;
  const auto is_unless_untold = [](std::string_view told, std::string_view expected) {
    return told.empty() || told == expected;
  };
  return is_unless_untold(request[ORIGIN], OriginOf(request.url)) &&
         is_unless_untold(request[FETCH_SITE], "same-origin") &&
         is_unless_untold(request[FETCH_MODE], "navigate") &&
         is_unless_untold(request[FETCH_DEST], "document");
}

void Allow(const Filtering &filtering, std::string_view client, std::string_view url) {
  Exception exception;
  exception.site.Add(HostOfUrl(url));
  exception.client = ClientNetwork::Parse(client);
  AddException(filtering.policy.exceptions_file, exception);
}

/// Throws what files throw.
BlockedAnswer Take(const Filtering &filtering, const RequestHead &request, const Pressed &pressed) {
  const bool is_allowing = pressed.action == ALLOW;
  if (!ComesFromItsPage(request) ||
      (is_allowing && !filtering.policy.For({pressed.url, request.who}).allows_self) ||
      !filtering.permits->Take({pressed.action, request.who.client, pressed.url}, pressed.permit)) {
    return PageAnswer(request, 403, "Forbidden", StalePage(request));
  }
  if (filtering.events) {
    filtering.events->AddPressed(is_allowing ? EventKind::ALLOWED : EventKind::OPENED,
                                 request.who.client, pressed.url);
  }
  if (is_allowing) {
    Allow(filtering, request.who.client, pressed.url);
    return PageAnswer(request, 200, "OK", AllowedPage(request, pressed.url));
  }
  filtering.permits->Open(request.who.client, pressed.url);
  BlockedAnswer answer{.status = 303, .reason = "See Other"};
  answer.headers.emplace_back("Location", pressed.url);
  answer.headers.emplace_back("Cache-Control", "no-store");
  return answer;
}

}  // namespace

WaysOn WaysOnFrom(const Filtering &filtering, const RequestHead &request, const RequestKind &kind,
                  bool is_by_site) {
  WaysOn ways;
  if (kind.use != AnswerUse::PAGE || request.has_body) return ways;
  if (kind.types != VEXLAR_TYPE_DOCUMENT) {
    ways.link = request.url;
    return ways;
  }
  if (std::string_view(request.who.client).empty()) return ways;
  const bool allows_self = filtering.policy.For({request.url, request.who}).allows_self;
  // What somebody has decided about a site is not for whoever sees it to undo.
  if (is_by_site && !allows_self) return ways;
  try {
    ways.open = PathOf(*filtering.permits, OPEN, request);
    if (allows_self) ways.allow = PathOf(*filtering.permits, ALLOW, request);
  } catch (const std::exception &error) {
    if (filtering.events) {
      filtering.events->AddError(std::string("block pages have no buttons: ") + error.what());
    }
  }
  return ways;
}

std::optional<BlockedAnswer> AnswerToButton(const Filtering &filtering,
                                            const RequestHead &request) {
  const auto pressed = Read(request);
  if (!pressed) return std::nullopt;
  try {
    return Take(filtering, request, *pressed);
  } catch (const std::exception &error) {
    if (filtering.events) {
      filtering.events->AddError(std::string("a block page's button: ") + error.what());
    }
    return PageAnswer(request, 500, "Internal Server Error", FailedPage(request));
  }
}

bool IsOpened(const Filtering &filtering, const RequestHead &request, const RequestKind &kind) {
  return kind.use == AnswerUse::PAGE &&
         filtering.permits->TakeOpened(request.who.client, request.url);
}

}  // namespace velmora::host
