// The language of a SCRIPT element.
#pragma once

#include <string_view>

namespace velmora {

enum class ScriptLanguage { JAVASCRIPT, VBSCRIPT };

/// The language that the values of "type" and "language" (empty when absent) name; `otherwise` when
/// they name neither.
ScriptLanguage LanguageOf(std::string_view type, std::string_view language,
                          ScriptLanguage otherwise) noexcept;

}  // namespace velmora
