#include "filter/script_language.h"

#include "core/strings.h"

namespace velmora {

ScriptLanguage LanguageOf(std::string_view type, std::string_view language,
                          ScriptLanguage otherwise) noexcept {
  if (SameValue(type, "text/javascript") || ContainsNoCase("javascript", language) ||
      ContainsNoCase("jscript", language)) {
    return ScriptLanguage::JAVASCRIPT;
  }
  if (SameValue(type, "text/vbscript") || ContainsNoCase("vbscript", language)) {
    return ScriptLanguage::VBSCRIPT;
  }
  return otherwise;
}

}  // namespace velmora
