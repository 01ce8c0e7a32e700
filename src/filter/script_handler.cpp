#include "filter/script_handler.h"

#include <new>

#include "base/counted_pointer.h"
#include "core/switches.h"
#include "diag/log.h"
#include "filter/ad_popup_filter.h"

namespace velmora {
namespace {

/// What a SCRIPT element says about its language; empty where it says nothing.
struct Declaration {
  explicit Declaration(const CHTMLElement &script) {
    script.GetAttribute("type", type);
    script.GetAttribute("language", language);
  }

  std::string type;
  std::string language;
};

void Trace(const Declaration &declared, ScriptLanguage found) {
  Log("Found SCRIPT, type='%s', language='%s' (bJavascript = \"%s\")\n", declared.type.c_str(),
      declared.language.c_str(), found == ScriptLanguage::JAVASCRIPT ? "true" : "false");
}

/// None when it cannot be made: the page goes on without it.
CountedPointer<IDataProcessor> MakeContentHandler(const ScriptHandlerMaker &make) {
  try {
    return CountedPointer<IDataProcessor>(make ? make() : nullptr);
  } catch (const std::bad_alloc &) {
    return {};
  }
}

/// The depth of the outermost of the element and those around it that is to be removed; the
/// element's own when none is.
std::uint32_t OutermostRemoved(const CHTMLElement &element) {
  std::uint32_t outermost = element.depth();
  for (std::uint32_t depth = element.depth() + 1; depth-- != 0;) {
    if ((element.FlagsAt(depth) & ELEMENT_REMOVE_AT_END) == 0) continue;
    Log("*** outer %s flagged for removal\n", std::string(element.NameAt(depth)).c_str());
    outermost = depth;
  }
  return outermost;
}

}  // namespace

std::int32_t CScriptHandler::OnStartTag(CHTMLElement &element) {
  std::int32_t change = 0;
  if (!first_seen_) {
    first_seen_ = true;
    change = OnFirstScript(element);
  }
  element.SetFlags(ELEMENT_HOLD | ELEMENT_NEED_END);
  return change;
}

std::int32_t CScriptHandler::OnFirstScript(CHTMLElement &script) {
  const Declaration declared(script);
  const ScriptLanguage language =
      LanguageOf(declared.type, declared.language, ScriptLanguage::JAVASCRIPT);
  filter().SetScriptLanguage(language);
  if (switches::SCRIPT_LANGUAGE_TRACE) Trace(declared, language);
  const std::string popup_script = filter().TakePopupScript();
  if (popup_script.empty()) return 0;
  // Before all that will be removed around it, so that the text stays in the page.
  return script.InsertBefore(OutermostRemoved(script), popup_script);
}

std::int32_t CScriptHandler::OnEndTag(CHTMLElement &element) {
  std::string src;
  if (element.GetAttribute("src", src)) {
    if (IsAd(element)) return element.Remove();
    std::string digest;
    if (element.GetAttribute("integrity", digest)) filter().TellPinned(src);
    return 0;
  }
  const Declaration declared(element);
  return FilterText(element,
                    LanguageOf(declared.type, declared.language, filter().script_language()));
}

std::int32_t CScriptHandler::FilterText(CHTMLElement &script, ScriptLanguage language) const {
  const ScriptHandlerMakers &makers = filter().script_handler_makers();
  const ScriptHandlerMaker &make =
      language == ScriptLanguage::JAVASCRIPT ? makers.javascript : makers.vbscript;
  const CountedPointer<IDataProcessor> handler = MakeContentHandler(make);
  if (!handler) return 0;
  handler->SetContext(&context());
  return script.FilterContent(handler.get());
}

}  // namespace velmora
