#include "host/requests/request_kind.h"

#include <algorithm>
#include <vexlar/requests.h>

#include "base/ascii.h"
#include "host/web/url.h"

namespace velmora::host {
namespace {

using enum RequestHeader;

struct Named {
  std::string_view name;
  std::uint32_t types;
  AnswerUse use = AnswerUse::RESOURCE;
};

/// Values of Sec-Fetch-Dest. "empty" is told apart by other headers.
constexpr Named DESTINATIONS[] = {
    {"document", VEXLAR_TYPE_DOCUMENT, AnswerUse::PAGE},
    {"iframe", VEXLAR_TYPE_SUBDOCUMENT, AnswerUse::FRAME},
    {"frame", VEXLAR_TYPE_SUBDOCUMENT, AnswerUse::FRAME},
    {"fencedframe", VEXLAR_TYPE_SUBDOCUMENT, AnswerUse::FRAME},
    {"script", VEXLAR_TYPE_SCRIPT},
    {"worker", VEXLAR_TYPE_SCRIPT},
    {"sharedworker", VEXLAR_TYPE_SCRIPT},
    {"serviceworker", VEXLAR_TYPE_SCRIPT},
    {"audioworklet", VEXLAR_TYPE_SCRIPT},
    {"paintworklet", VEXLAR_TYPE_SCRIPT},
    {"image", VEXLAR_TYPE_IMAGE, AnswerUse::IMAGE},
    {"style", VEXLAR_TYPE_STYLESHEET},
    {"font", VEXLAR_TYPE_FONT},
    {"audio", VEXLAR_TYPE_MEDIA},
    {"video", VEXLAR_TYPE_MEDIA},
    {"track", VEXLAR_TYPE_MEDIA},
    {"object", VEXLAR_TYPE_OBJECT},
    {"embed", VEXLAR_TYPE_OBJECT},
    {"json", VEXLAR_TYPE_XMLHTTPREQUEST},
    {"websocket", VEXLAR_TYPE_WEBSOCKET},
};

/// What a script asks for without saying more looks the same as a script element's request.
constexpr std::uint32_t SCRIPT_OR_FETCH = VEXLAR_TYPE_SCRIPT | VEXLAR_TYPE_XMLHTTPREQUEST;
/// A beacon looks the same as a fetch that wants no answer.
constexpr std::uint32_t BEACON_OR_FETCH = VEXLAR_TYPE_PING | VEXLAR_TYPE_XMLHTTPREQUEST;

constexpr Named EXTENSIONS[] = {
    {"js", VEXLAR_TYPE_SCRIPT},
    {"mjs", VEXLAR_TYPE_SCRIPT},
    {"css", VEXLAR_TYPE_STYLESHEET},
    {"gif", VEXLAR_TYPE_IMAGE, AnswerUse::IMAGE},
    {"png", VEXLAR_TYPE_IMAGE, AnswerUse::IMAGE},
    {"jpg", VEXLAR_TYPE_IMAGE, AnswerUse::IMAGE},
    {"jpeg", VEXLAR_TYPE_IMAGE, AnswerUse::IMAGE},
    {"webp", VEXLAR_TYPE_IMAGE, AnswerUse::IMAGE},
    {"avif", VEXLAR_TYPE_IMAGE, AnswerUse::IMAGE},
    {"svg", VEXLAR_TYPE_IMAGE, AnswerUse::IMAGE},
    {"ico", VEXLAR_TYPE_IMAGE, AnswerUse::IMAGE},
    {"bmp", VEXLAR_TYPE_IMAGE, AnswerUse::IMAGE},
    {"woff2", VEXLAR_TYPE_FONT},
    {"woff", VEXLAR_TYPE_FONT},
    {"ttf", VEXLAR_TYPE_FONT},
    {"otf", VEXLAR_TYPE_FONT},
    {"eot", VEXLAR_TYPE_FONT},
    {"mp4", VEXLAR_TYPE_MEDIA},
    {"m4s", VEXLAR_TYPE_MEDIA},
    {"webm", VEXLAR_TYPE_MEDIA},
    {"ogg", VEXLAR_TYPE_MEDIA},
    {"mp3", VEXLAR_TYPE_MEDIA},
    {"m4a", VEXLAR_TYPE_MEDIA},
    {"vtt", VEXLAR_TYPE_MEDIA},
    {"swf", VEXLAR_TYPE_OBJECT},
    {"json", VEXLAR_TYPE_XMLHTTPREQUEST},
};

template <std::size_t COUNT>
const Named *Find(const Named (&table)[COUNT], std::string_view name) noexcept {
  const Named *const found = std::ranges::find_if(
      table, [&](const Named &entry) { return base::EqualNoCase(entry.name, name); });
  return found == std::end(table) ? nullptr : found;
}

std::string_view ExtensionOf(std::string_view url) noexcept {
  url = url.substr(0, url.find_first_of("?#"));
  const std::size_t scheme = url.find("://");
  const std::size_t slash = url.rfind('/');
  if (scheme == url.npos || slash == url.npos || slash < scheme + 3) return {};
  const std::size_t dot = url.rfind('.');
  return dot == url.npos || dot < slash ? std::string_view() : url.substr(dot + 1);
}

/// What Sec-Fetch-Dest says without naming one of them.
RequestKind ByOtherDestination(const RequestHead &request, std::string_view destination) {
  if (destination != "empty") return {VEXLAR_TYPE_OTHER};
  const std::string_view mode = request[FETCH_MODE];
  if (mode == "websocket") return {VEXLAR_TYPE_WEBSOCKET};
  if (request[PURPOSE].starts_with("prefetch")) return {VEXLAR_TYPE_OTHER};
  const bool may_be_beacon = request.method == "POST" && mode == "no-cors";
  return {may_be_beacon ? BEACON_OR_FETCH : std::uint32_t{VEXLAR_TYPE_XMLHTTPREQUEST}};
}

/// What is told without it.
RequestKind ByAccept(const RequestHead &request) {
  const std::string_view accept = request[ACCEPT];
  if (accept.find("text/html") != accept.npos) {
    // Frames look like pages. Where a link was followed to another site, or another site is framed,
    // more rules are asked, and who looks is told of it.
    const std::string_view referer = request[REFERER];
    const bool is_elsewhere = !referer.empty() && HostOfUrl(referer) != HostOfUrl(request.url);
    return {is_elsewhere ? VEXLAR_TYPE_SUBDOCUMENT : VEXLAR_TYPE_DOCUMENT, AnswerUse::PAGE};
  }
  if (accept.starts_with("image/")) return {VEXLAR_TYPE_IMAGE, AnswerUse::IMAGE};
  if (accept.starts_with("text/css")) return {VEXLAR_TYPE_STYLESHEET};
  if (accept.starts_with("audio/") || accept.starts_with("video/")) return {VEXLAR_TYPE_MEDIA};
  if (accept.starts_with("text/event-stream") || accept.starts_with("application/json")) {
    return {VEXLAR_TYPE_XMLHTTPREQUEST};
  }
  const Named *const found = Find(EXTENSIONS, ExtensionOf(request.url));
  if (found != nullptr) return {found->types, found->use};
  return {SCRIPT_OR_FETCH};
}

/// What a link sends off when it is followed.
bool IsPing(const RequestHead &request) {
  return request.method == "POST" &&
         (!request[PING_FROM].empty() || request[CONTENT_TYPE].starts_with("text/ping"));
}

RequestKind WithoutPage(const RequestHead &request) {
  if (request.method == "CONNECT") return {VEXLAR_TYPE_OTHER, AnswerUse::TUNNEL};
  if (IsPing(request)) return {VEXLAR_TYPE_PING};
  const std::string_view destination = request[FETCH_DEST];
  if (const Named *const found = Find(DESTINATIONS, destination)) {
    return {found->types, found->use};
  }
  // Browsers that name what it is for have a word for this, too, or none.
  if (base::EqualNoCase(request[UPGRADE], "websocket")) return {VEXLAR_TYPE_WEBSOCKET};
  if (!destination.empty()) return ByOtherDestination(request, destination);
  if (!request[REQUESTED_WITH].empty()) return {VEXLAR_TYPE_XMLHTTPREQUEST};
  return ByAccept(request);
}

std::string_view PageOf(const RequestHead &request, const RequestKind &kind) {
  // A page is its own, whoever links to it.
  if (kind.types == VEXLAR_TYPE_DOCUMENT || kind.use == AnswerUse::TUNNEL) return request.url;
  for (const RequestHeader header : {REFERER, ORIGIN, PING_FROM}) {
    const std::string_view page = request[header];
    if (!page.empty() && page != "null") return page;
  }
  // Pages may keep their address to themselves.
  return request[FETCH_SITE] == "cross-site" ? std::string_view() : request.url;
}

}  // namespace

RequestKind KindOf(const RequestHead &request) {
  RequestKind kind = WithoutPage(request);
  kind.page = PageOf(request, kind);
  return kind;
}

std::string NamesOfTypes(std::uint32_t types) {
  std::string text;
  for (const VexlarTypeName &entry : VEXLAR_TYPE_NAMES) {
    if ((types & entry.type) == 0) continue;
    text.append(text.empty() ? "" : ", ").append(entry.name);
  }
  return text;
}

}  // namespace velmora::host
