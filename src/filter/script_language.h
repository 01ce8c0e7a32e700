// The language of a SCRIPT element.
#pragma once

#include <string_view>

#include "core/strings.h"

namespace velmora {

enum class ScriptLanguage { JAVASCRIPT, VBSCRIPT };

/// The language that the values of "type" and "language" (empty when absent) name; `otherwise` when
/// they name neither.
inline ScriptLanguage LanguageOf(std::string_view type, std::string_view language,
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
