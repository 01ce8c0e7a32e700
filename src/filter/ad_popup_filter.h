// CAdPopupFilter: removes advertisements and Flash from pages and disarms pop-up windows and script
// error messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/ad_blocking.h"
#include "core/host_extensions.h"
#include "filter/page_url.h"
#include "filter/popup_scripts.h"
#include "filter/script_handler_makers.h"
#include "filter/script_language.h"
#include "html/element_handler_map.h"

namespace velmora {

/// The handlers for categories 303 to 308 and for BASE, FORM and HTML, and the state of the page
/// that they share.
class CAdPopupFilter final : public CElementHandlerMap {
 public:
  /// `ads` must outlive the filter.
  CAdPopupFilter(IDataContext &context, const AdBlocking &ads, ScriptHandlerMakers makers);

  /// The page has moved to another URL: a BASE element says so.
  void SetPageUrl(std::string_view url);
  void SetHostName(std::string_view host);

  /// False for good: a page that begins without the library ends without it.
  bool HasAdLibrary() const noexcept { return ads_.IsBound(); }
  /// Is the attribute value an advertisement's URL? `reason` is the library's text, written by
  /// an answer of exactly 1; `exempt` is set when the URL is expressly allowed. An empty value
  /// is not asked about.
  bool IsAdUrl(std::string_view value, std::string &reason, bool &exempt);
  /// The page has pinned the script that a SRC attribute with that value names.
  void TellPinned(std::string_view value);
  /// Does the host keep an element though that is one?
  bool IsAdKept(const CHTMLElement &element, std::string_view value);
  /// The same as the host decides it. `reason` is the host's.
  bool IsAdToHost(const CHTMLElement &element, std::string_view value, std::string &reason);
  bool IsAdSize(std::int32_t width, std::int32_t height) const noexcept;

  /// The href of the last A start tag, as written.
  void SetCurrentLink(std::string_view value);
  /// Tells the library of it.
  void TellOfCurrentLink();

  /// The language of the page's first SCRIPT element.
  ScriptLanguage script_language() const noexcept { return script_language_; }
  void SetScriptLanguage(ScriptLanguage language) noexcept { script_language_ = language; }

  /// The pop-up script, once a page: every later call gives an empty text. The first may too, when
  /// no category calls for the script.
  std::string TakePopupScript();
  /// Does the page get the restoring script at its end: has its one chance to get the pop-up script
  /// passed, and was nothing in the way of that?
  bool IsPopupScriptTaken() const noexcept { return popup_script_taken_ && !is_guard_over_; }
  /// The page has a security policy from here on. The restoring script, where this is the last
  /// place at which it is run; else empty.
  std::string TakeSecurityPolicy(const std::string &policy);
  /// May event handlers call what the pop-up script defines?
  bool MayWrapHandlers() { return ScriptNonce(context()).has_value(); }
  std::string WrapHandler(std::string_view value) { return WrapEventHandler(context(), value); }
  /// Are edits to leave a page's own text and scripts as they are meant?
  bool ProtectsPage() noexcept { return ProtectsPages(context()); }

  const ScriptHandlerMakers &script_handler_makers() const noexcept { return makers_; }

 private:
  template <class Handler>
  void AddHandler(std::string_view tag_name);

  const AdBlocking &ads_;
  const ScriptHandlerMakers makers_;
  PageUrl page_;
  /// Of its own, so that a link that is told of again and again is put together once.
  PageUrl page_of_link_;
  std::string current_link_;
  /// The link in full; null when it has to be put together anew.
  const std::string *full_link_ = nullptr;
  ScriptLanguage script_language_ = ScriptLanguage::JAVASCRIPT;
  bool popup_script_taken_ = false;
  bool is_guard_over_ = false;
};

}  // namespace velmora
