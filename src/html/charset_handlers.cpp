#include "html/charset_handlers.h"

#include <optional>
#include <string>

#include "core/settings.h"
#include "core/strings.h"
#include "diag/log.h"
#include "html/charset.h"

namespace velmora {
namespace {

/// The charset that a META element declares for its page; none when it declares no Content-Type.
std::optional<std::string> DeclaredCharset(const CHTMLElement &meta) {
  std::string equivalent;
  if (!meta.GetAttribute("http-equiv", equivalent)) return std::nullopt;
  if (!SameValue(equivalent, "content-type")) return std::nullopt;
  std::string content;
  if (!meta.GetAttribute("content", content)) return std::nullopt;
  std::string charset;
  if (!ParseCharset(StripQuotes(content), charset)) return std::nullopt;
  return charset;
}

}  // namespace

std::int32_t CMetaCharsetHandler::OnStartTag(CHTMLElement &element) {
  if (const std::optional<std::string> charset = DeclaredCharset(element)) {
    if (!EqualNoCase(*charset, DEFAULT_CHARSET)) {
      Log("CHARSET (from meta) = %s\n", charset->c_str());
    }
    if (!encodings_.IsEmpty()) SwitchTo(*charset);
  }
  element.SetFlags(ELEMENT_DROP);
  return 0;
}

void CMetaCharsetHandler::SwitchTo(const std::string &charset) {
  const std::string &current = encodings_.Top().GetName();
  // A name that the current one continues says less than is known already: "UTF-16" keeps a
  // "UTF-16LE" that the byte-order test found.
  if (current.size() > charset.size() && StartsWithNoCase(current, charset)) {
    Log("Continue using current encoding (%s)\n", current.c_str());
    return;
  }
  if (EqualNoCase(charset, current)) return;
  if (auto encoding = MakeEncoding(charset)) encodings_.ReplaceTop(std::move(encoding));
}

CElementDumpHandler::CElementDumpHandler(IDataContext &context)
    : CElementHandler(context), is_on_(IsSettingTrue(context, SETTING_DUMP_HTML_ELEMENTS)) {}

std::int32_t CElementDumpHandler::OnStartTag(CHTMLElement &element) {
  if (is_on_) element.Dump();
  return 0;
}

std::unique_ptr<CElementHandlerMap> MakeCharsetHandlerMap(IDataContext &context,
                                                          EncodingStack &encodings) {
  auto map = std::make_unique<CElementHandlerMap>(context);
  map->Make<CElementDumpHandler>(EVERY_ELEMENT, context);
  map->Make<CMetaCharsetHandler>("META", context, encodings);
  return map;
}

}  // namespace velmora
