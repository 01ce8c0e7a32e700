#include "module/vexlar_blocker.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "matcher/text.h"
#include "matcher/url.h"
#include "module/texts.h"

namespace velmora::adblock {
namespace {

/// Room for the longest URL that is looked at, with a scheme before it.
constexpr std::size_t SCHEME_ROOM = 8;
constexpr std::string_view DEFAULT_SCHEME = "http:";

/// A host or a URL that is longer is judged by its beginning: after a BASE of a megabyte each
/// link of a page comes with all of that.
constexpr std::size_t MOST_READ = 16U << 10;

std::string_view View(const char *text) noexcept {
  return text ? std::string_view(text, ::strnlen(text, MOST_READ)) : std::string_view();
}

constexpr std::string_view MARK = "://";

/// The place of the first mark, which in most URLs comes after "http" or "https".
std::size_t FindMark(std::string_view url) noexcept {
  if (url.starts_with("https://")) return 5;
  if (url.starts_with("http://")) return 4;
  return url.find(MARK);
}

/// The URL that a page's element names. The plug-in makes every URL absolute but for those
/// that begin with "http:": a secure one it takes for a file beside the page, so that it comes as
/// "http://page.example/folder/https://ads.example/". What follows the page's own host is meant.
std::string_view NamedUrl(std::string_view page_host, std::string_view url) noexcept {
  constexpr std::string_view SECURE = "/https";
  const auto same = [](char a, char b) noexcept {
    return base::ToLowerAscii(a) == base::ToLowerAscii(b);
  };
  const std::size_t start = FindMark(url);
  if (start == std::string_view::npos || page_host.empty()) return url;
  const std::string_view rest = url.substr(start + MARK.size());
  // Few URLs are of the page's own host, and most others show it at this byte.
  if (rest.size() <= page_host.size() ||
      (rest[page_host.size()] != '/' && rest[page_host.size()] != ':') ||
      (!rest.starts_with(page_host) &&
       !std::equal(page_host.begin(), page_host.end(), rest.begin(), same))) {
    return url;
  }
  std::size_t mark = rest.find(MARK, page_host.size() + SECURE.size());
  for (; mark != std::string_view::npos; mark = rest.find(MARK, mark + 1)) {
    const std::size_t inner = mark - SECURE.size();
    if (std::equal(SECURE.begin(), SECURE.end(), rest.begin() + static_cast<std::ptrdiff_t>(inner),
                   same)) {
      return rest.substr(inner + 1);
    }
  }
  return url;
}

}  // namespace

std::uint8_t AdBlocker::IsReady() noexcept {
  return blocker_.Current() ? 1 : 0;
}

std::uint8_t AdBlocker::CheckUrl(const char *host, const char *url, char *text, std::size_t size,
                                 bool *exempt) noexcept {
  const std::string_view page_host = View(host);
  return Answer(page_host, NamedUrl(page_host, View(url)), text, size, exempt);
}

std::uint8_t AdBlocker::CheckUrlText(const char *host, const char *piece, std::uint32_t length,
                                     char *text, std::size_t size, bool *exempt) noexcept {
  if (length < 2 || !MayBeginUrl(piece)) return 0;
  return CheckUrlInText(host, piece, length, text, size, exempt);
}

std::uint8_t AdBlocker::CheckUrlInText(const char *host, const char *piece,
                                       std::uint32_t piece_length, char *text, std::size_t size,
                                       bool *exempt) const noexcept {
  const std::size_t length = UrlLength({piece, piece_length});
  if (length == 0) return 0;
  std::string_view url(piece, length);
  char with_scheme[MAX_URL_IN_TEXT + SCHEME_ROOM];
  if (url[0] == '/') {
    std::memcpy(with_scheme, DEFAULT_SCHEME.data(), DEFAULT_SCHEME.size());
    std::memcpy(with_scheme + DEFAULT_SCHEME.size(), url.data(), length);
    url = {with_scheme, DEFAULT_SCHEME.size() + length};
  }
  return Answer(View(host), url, text, size, exempt);
}

std::uint8_t AdBlocker::CheckSize(const char *, std::int32_t width, std::int32_t height) noexcept {
  const Blocker::Rules rules = blocker_.Current();
  return rules && rules->IsAdSize(width, height) ? 1 : 0;
}

std::uint8_t AdBlocker::CheckLink(const char *link, const char *host, const char *) noexcept {
  const std::string_view page_host = View(host);
  const Blocker::Rules rules = blocker_.Current();
  if (!rules) return 0;
  const Verdict verdict =
      rules->JudgeInPage({page_host, NamedUrl(page_host, View(link)), TYPE_POPUP, METHOD_GET});
  return verdict.kind == Verdict::Kind::kBlocked ? 1 : 0;
}

std::uint8_t AdBlocker::Answer(std::string_view page_host, std::string_view url, char *text,
                               std::size_t size, bool *exempt) const noexcept {
  const Blocker::Rules rules = blocker_.Current();
  if (!rules) return 0;
  const Verdict verdict = rules->JudgeInPage({page_host, url, TYPES_ELEMENT, METHOD_GET});
  if (verdict.kind == Verdict::Kind::kAllowed && exempt) *exempt = true;
  if (verdict.kind != Verdict::Kind::kBlocked) return 0;
  CopyText(rules->OriginOf(verdict.rule).text, text, size);
  return 1;
}

Status AdBlockerFactory::CreateInstance(const Identifier *identifier, void **output) noexcept {
  if (!output) return RESULT_INVALID_ARGUMENT;
  *output = nullptr;
  LoadListsOnce();
  auto *blocker = new (std::nothrow) AdBlocker(ProcessBlocker());
  if (!blocker) return RESULT_OUT_OF_MEMORY;
  // Keeps the object until it is known whether somebody wants it.
  blocker->AddRef();
  const Status status = blocker->QueryInterface(identifier, output);
  blocker->Release();
  return status;
}

}  // namespace velmora::adblock
