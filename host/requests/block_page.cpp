#include "host/requests/block_page.h"

#include <initializer_list>
#include <string_view>

#include "base/ascii.h"
#include "base/html_text.h"
#include "host/requests/blocked_answer.h"
#include "host/web/url.h"

namespace velmora::host {
namespace {

struct Texts {
  std::string_view language;
  std::string_view title;
  std::string_view what;
  std::string_view rule;
  std::string_view list;
  std::string_view site;
  std::string_view category;
  std::string_view ask;
  std::string_view let;
  std::string_view open;
  std::string_view allow;
  std::string_view link;
  std::string_view stale_title;
  std::string_view stale;
  std::string_view allowed_title;
  std::string_view allowed;
  std::string_view go_on;
  std::string_view failed_title;
  std::string_view failed;
};

constexpr Texts ENGLISH = {
    .language = "en",
    .title = "Blocked by Velmora",
    .what = "The filter did not ask for this page:",
    .rule = "A rule of its lists is against it:",
    .list = "List:",
    .site = "The site is not for here:",
    .category = "Category:",
    .ask = "Whoever runs the filter learns more by",
    .let = "and lets the site pass by",
    .open = "Open once",
    .allow = "Always allow this site here",
    .link = "Open it as a page of its own",
    .stale_title = "This button is no longer good",
    .stale =
        "It works once, for ten minutes, on the device that it was shown on. Go back and load "
        "the page again.",
    .allowed_title = "Allowed by Velmora",
    .allowed = "From now on the filter does not touch this site on this device:",
    .go_on = "Go on to the page",
    .failed_title = "That did not work",
    .failed = "The filter could not note it down; its event log says why."};
constexpr Texts GERMAN = {
    .language = "de",
    .title = "Von Velmora blockiert",
    .what = "Der Filter hat diese Seite nicht geholt:",
    .rule = "Eine Regel seiner Listen steht dagegen:",
    .list = "Liste:",
    .site = "Diese Seite ist hier nicht erlaubt:",
    .category = "Kategorie:",
    .ask = "Wer den Filter betreibt, erf\u00E4hrt mehr mit",
    .let = "und l\u00E4sst die Seite durch mit",
    .open = "Einmal \u00F6ffnen",
    .allow = "Diese Seite hier immer erlauben",
    .link = "Als eigene Seite \u00F6ffnen",
    .stale_title = "Dieser Knopf gilt nicht mehr",
    .stale =
        "Er gilt einmal, zehn Minuten lang, auf dem Ger\u00E4t, auf dem er stand. Bitte "
        "zur\u00FCck und "
        "die Seite neu laden.",
    .allowed_title = "Von Velmora erlaubt",
    .allowed = "Ab jetzt l\u00E4sst der Filter diese Seite auf diesem Ger\u00E4t unber\u00FChrt:",
    .go_on = "Weiter zur Seite",
    .failed_title = "Das ging nicht",
    .failed = "Der Filter konnte es nicht vermerken; sein Protokoll sagt, warum."};

constexpr std::string_view STYLE =
    "<style>\n"
    "body { max-width: 40em; margin: 3em auto; padding: 0 1em; font: 1rem/1.5 sans-serif }\n"
    "code { overflow-wrap: anywhere }\n"
    "form { display: inline-block; margin: 1em 1em 0 0 }\n"
    "button { font: inherit; padding: .5em 1em }\n"
    "</style>\n";

/// The first of both in Accept-Language, which browsers write in the order of preference.
const Texts &TextsFor(std::string_view languages) noexcept {
  while (!languages.empty()) {
    const std::size_t comma = languages.find(',');
    const std::string_view language = base::TrimWebSpace(languages.substr(0, comma));
    if (base::StartsWithNoCase(language, "de")) return GERMAN;
    if (base::StartsWithNoCase(language, "en")) break;
    if (comma == languages.npos) break;
    languages.remove_prefix(comma + 1);
  }
  return ENGLISH;
}

std::string Joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text += part;
  return text;
}

std::string Code(std::string_view text) {
  return Joined({"<code>", base::EscapedForHtml(text), "</code>"});
}

std::string Form(std::string_view path, std::string_view label) {
  if (path.empty()) return {};
  return Joined({"<form method=\"post\" action=\"", base::EscapedForHtml(path), "\"><button>",
                 label, "</button></form>\n"});
}

std::string Link(std::string_view url, std::string_view label) {
  if (url.empty()) return {};
  return Joined(
      {"<p><a href=\"", base::EscapedForHtml(url), "\" target=\"_top\">", label, "</a>\n"});
}

/// `head` stands in the page's head.
std::string Page(const Texts &texts, std::string_view title, std::string_view head,
                 std::string_view content) {
  return Joined({"<!doctype html>\n<html lang=\"", texts.language,
                 "\">\n<meta name=\"viewport\" content=\"width=device-width\">\n", head, "<title>",
                 title, "</title>\n", STYLE, "<main>\n<h1>", title, "</h1>\n", content,
                 "</main>\n</html>\n"});
}

}  // namespace

std::string BlockPage(const RequestHead &request, const BlockedReason &reason, const WaysOn &ways) {
  const Texts &texts = TextsFor(request[RequestHeader::ACCEPT_LANGUAGE]);
  const std::string content = Joined({"<p>",
                                      texts.what,
                                      "\n<p>",
                                      Code(request.url),
                                      "\n<p>",
                                      reason.is_by_site ? texts.site : texts.rule,
                                      " ",
                                      Code(reason.rule),
                                      "\n<p>",
                                      reason.is_by_site ? texts.category : texts.list,
                                      " ",
                                      base::EscapedForHtml(reason.list),
                                      "\n<p>",
                                      texts.ask,
                                      " <code>velmora why ",
                                      reason.id,
                                      "</code> ",
                                      texts.let,
                                      " <code>velmora allow ",
                                      base::EscapedForHtml(HostOfUrl(request.url)),
                                      "</code>.\n",
                                      Form(ways.open, texts.open),
                                      Form(ways.allow, texts.allow),
                                      Link(ways.link, texts.link)});
  return Page(texts, texts.title, {}, content);
}

std::string StalePage(const RequestHead &request) {
  const Texts &texts = TextsFor(request[RequestHeader::ACCEPT_LANGUAGE]);
  return Page(texts, texts.stale_title, {}, Joined({"<p>", texts.stale, "\n"}));
}

std::string AllowedPage(const RequestHead &request, std::string_view url) {
  const Texts &texts = TextsFor(request[RequestHeader::ACCEPT_LANGUAGE]);
  // By then every process of the proxy knows of it.
  const std::string head = Joined(
      {"<meta http-equiv=\"refresh\" content=\"1; url=", base::EscapedForHtml(url), "\">\n"});
  return Page(
      texts, texts.allowed_title, head,
      Joined({"<p>", texts.allowed, " ", Code(HostOfUrl(url)), "\n", Link(url, texts.go_on)}));
}

std::string FailedPage(const RequestHead &request) {
  const Texts &texts = TextsFor(request[RequestHeader::ACCEPT_LANGUAGE]);
  return Page(texts, texts.failed_title, {}, Joined({"<p>", texts.failed, "\n"}));
}

}  // namespace velmora::host
