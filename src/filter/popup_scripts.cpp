#include "filter/popup_scripts.h"

#include "core/host_extensions.h"
#include "core/settings.h"
#include "core/strings.h"
#include "filter/attribute_value.h"

namespace velmora {
namespace {

constexpr std::string_view VBSCRIPT_BLOCK =
    "<script language=\"VBScript\">\n"
    "</script>\n"
    "\n";

constexpr std::string_view SCRIPT_TAG = "<script language=\"JavaScript\"";
constexpr std::string_view SCRIPT_BEGIN =
    "<!--\n"
    "\n";

constexpr std::string_view BLOCK_END =
    "//-->\n"
    "</script>\n"
    "\n";

constexpr std::string_view SWALLOW_ERRORS =
    "function ZulError()\n"
    "{\n"
    "  return true;\n"
    "}\n"
    "\n"
    "window.onerror = ZulError;\n"
    "\n";

constexpr std::string_view REPLACE_OPEN =
    "var ZulRealWinOpen = window.open;\n"
    "\n"
    "function ZulWinOpen(url, name, attributes)\n"
    "{\n"
    "  return (new Object());\n"
    "}\n"
    "\n"
    "window.open = ZulWinOpen;\n"
    "\n";

constexpr std::string_view RESTORE_OPEN =
    "window.open = ZulRealWinOpen;\n"
    "\n";

constexpr std::string_view BEFORE_HANDLER =
    "\"var ZulTmpWinOpen = window.open; window.open = ZulWinOpen; ";
constexpr std::string_view AFTER_HANDLER = "; window.open = ZulTmpWinOpen;\"";

/// As part of a value in double quotes.
void AppendBetweenQuotes(std::string &text, std::string_view part) {
  for (const char c : part) {
    if (c == '"') {
      text += "&quot;";
    } else {
      text += c;
    }
  }
}

std::string BlockStart(const std::string &nonce) {
  std::string start(SCRIPT_TAG);
  if (!nonce.empty()) start.append(" nonce=\"").append(nonce).append("\"");
  return start.append(">\n").append(SCRIPT_BEGIN);
}

}  // namespace

std::string BuildPopupScript(IDataContext &context, ScriptLanguage page_language) {
  const bool swallow_errors = IsFeatureEnabled(context, CATEGORY_SCRIPT_ERRORS);
  const bool block_popups = IsFeatureEnabled(context, CATEGORY_POPUPS);
  if (!swallow_errors && !block_popups) return {};
  const std::optional<std::string> nonce = ScriptNonce(context);
  if (!nonce) {
    if (swallow_errors) TellScriptLeftOut(context, CATEGORY_SCRIPT_ERRORS);
    if (block_popups) TellScriptLeftOut(context, CATEGORY_POPUPS);
    return {};
  }
  std::string script = "\n";
  if (page_language == ScriptLanguage::VBSCRIPT) script += VBSCRIPT_BLOCK;
  script += BlockStart(*nonce);
  if (swallow_errors) {
    script += SWALLOW_ERRORS;
    TellScriptInserted(context, CATEGORY_SCRIPT_ERRORS);
  }
  if (block_popups) {
    script += REPLACE_OPEN;
    TellScriptInserted(context, CATEGORY_POPUPS);
  }
  script += BLOCK_END;
  return script;
}

std::string BuildRestoreScript(IDataContext &context) {
  return BuildRestoreScript(context, ScriptNonce(context));
}

std::string BuildRestoreScript(IDataContext &context, const std::optional<std::string> &nonce) {
  if (!IsFeatureEnabled(context, CATEGORY_RESTORE_POPUPS)) return {};
  if (!nonce) {
    TellScriptLeftOut(context, CATEGORY_RESTORE_POPUPS);
    return {};
  }
  std::string script = "\n";
  script.append(BlockStart(*nonce)).append(RESTORE_OPEN).append(BLOCK_END);
  return script;
}

std::string WrapEventHandler(IDataContext &context, std::string_view value) {
  std::string wrapped(BEFORE_HANDLER);
  if (ProtectsPages(context)) {
    AppendBetweenQuotes(wrapped, InnerValue(value));
  } else {
    wrapped.append(StripQuotes(value));
  }
  return wrapped.append(AFTER_HANDLER);
}

}  // namespace velmora
