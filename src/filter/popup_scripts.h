// The texts that are put into pages against pop-up windows and script error messages.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <velmora/data_context.h>

#include "filter/script_language.h"

namespace velmora {

/// The attributes whose handlers run with the harmless `window.open` in place.
inline constexpr std::string_view PAGE_EVENTS[] = {"onload", "onunload"};

/// A script that replaces `window.onerror` (category 306) and `window.open` (category 307); empty
/// when both are off. On a page in VBScript an empty block in that language comes first, which
/// keeps it the page's default. Empty, and told, where the page's security policy would not run it.
std::string BuildPopupScript(IDataContext &context, ScriptLanguage page_language);

/// A script that gives the real `window.open` back (category 308); empty when that is off, and as
/// above.
std::string BuildRestoreScript(IDataContext &context);
/// The same where it is known what the page's policy asks for.
std::string BuildRestoreScript(IDataContext &context, const std::optional<std::string> &nonce);

/// The value of an event attribute, in double quotes, so that its script runs with the harmless
/// `window.open` in place.
std::string WrapEventHandler(IDataContext &context, std::string_view value);

}  // namespace velmora
