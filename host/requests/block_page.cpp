#include "host/requests/block_page.h"

#include "base/ascii.h"
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
  std::string_view ask;
  std::string_view allow;
};

constexpr Texts ENGLISH = {"en",
                           "Blocked by Velmora",
                           "The filter did not ask for this page:",
                           "A rule of its lists is against it:",
                           "List:",
                           "Whoever runs the filter learns more by",
                           "and lets the site pass by"};
constexpr Texts GERMAN = {"de",
                          "Von Velmora blockiert",
                          "Der Filter hat diese Seite nicht geholt:",
                          "Eine Regel seiner Listen steht dagegen:",
                          "Liste:",
                          "Wer den Filter betreibt, erf\u00E4hrt mehr mit",
                          "und l\u00E4sst die Seite durch mit"};

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

/// As text of an element.
std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

}  // namespace

std::string BlockPage(const RequestHead &request, const BlockedReason &reason) {
  const Texts &texts = TextsFor(request.accept_language);
  std::string page = "<!doctype html>\n<html lang=\"";
  page.append(texts.language)
      .append("\">\n<meta name=\"viewport\" content=\"width=device-width\">\n");
  page.append("<title>").append(texts.title).append("</title>\n<style>\n");
  page.append(
      "body { max-width: 40em; margin: 3em auto; padding: 0 1em; font: 1rem/1.5 sans-serif }\n"
      "code { overflow-wrap: anywhere }\n</style>\n");
  page.append("<main>\n<h1>").append(texts.title).append("</h1>\n");
  page.append("<p>").append(texts.what).append("\n<p><code>").append(Escaped(request.url));
  page.append("</code>\n<p>").append(texts.rule).append(" <code>").append(Escaped(reason.rule));
  page.append("</code>\n<p>").append(texts.list).append(" ").append(Escaped(reason.list));
  page.append("\n<p>").append(texts.ask).append(" <code>velmora why ").append(reason.id);
  page.append("</code> ").append(texts.allow).append(" <code>velmora allow ");
  page.append(Escaped(HostOfUrl(request.url))).append("</code>.");
  return page.append("\n</main>\n</html>\n");
}

}  // namespace velmora::host
