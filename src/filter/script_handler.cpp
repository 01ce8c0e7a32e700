#include "filter/script_handler.h"

#include <new>

#include "core/counted_pointer.h"
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

/// The outermost of the element and those around it that is to be removed; the element itself when
/// none is.
CHTMLElement &OutermostRemoved(CHTMLElement &element) {
  CHTMLElement *outermost = &element;
  for (CHTMLElement *outer = &element; outer != nullptr; outer = outer->GetParent()) {
    if (!outer->HasFlags(ELEMENT_REMOVE_AT_END)) continue;
    Log("*** outer %s flagged for removal\n", outer->GetName().c_str());
    outermost = outer;
  }
  return *outermost;
}

/// Inserts `text` before the element, and before all that will be removed around it, so that the
/// text stays in the page.
std::int32_t InsertOutside(CHTMLElement &element, std::string_view text) {
  CHTMLElement &target = OutermostRemoved(element);
  const std::int32_t inserted = target.InsertText(text, INSERT_BEFORE_START);
  for (CHTMLElement *moved = &element; moved != &target; moved = moved->GetParent()) {
    moved->Shift(inserted);
  }
  return inserted;
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
  return popup_script.empty() ? 0 : InsertOutside(script, popup_script);
}

std::int32_t CScriptHandler::OnEndTag(CHTMLElement &element) {
  std::string src;
  if (element.GetAttribute("src", src)) return IsAd(element) ? element.Remove() : 0;
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
