// CAdPopupFilter: removes advertisements and Flash from pages and disarms pop-up windows and script
// error messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "core/ad_blocking.h"
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

  /// The page has moved to another address: a BASE element says so.
  void SetPageUrl(std::string_view url) { page_url_ = url; }
  void SetHostName(std::string_view host) { host_name_ = host; }

  /// Is the attribute value an advertisement's address? `reason` is the library's text, written by
  /// an answer of exactly 1; `exempt` is set when the address is expressly allowed. An empty value
  /// is not asked about.
  bool IsAdUrl(std::string_view value, std::string &reason, bool &exempt) const;
  bool IsAdSize(std::int32_t width, std::int32_t height) const noexcept;
  /// Tells the library of a link, given as an attribute value.
  void TellOfLink(std::string_view value) const;

  /// The href of the last A start tag, as written.
  const std::string &current_link() const noexcept { return current_link_; }
  void SetCurrentLink(std::string value) { current_link_ = std::move(value); }

  /// The language of the page's first SCRIPT element.
  ScriptLanguage script_language() const noexcept { return script_language_; }
  void SetScriptLanguage(ScriptLanguage language) noexcept { script_language_ = language; }

  /// The pop-up script, once a page: every later call gives an empty text. The first may too, when
  /// no category calls for the script.
  std::string TakePopupScript();
  /// Has the page's one chance to get the pop-up script passed?
  bool IsPopupScriptTaken() const noexcept { return popup_script_taken_; }

  const ScriptHandlerMakers &script_handler_makers() const noexcept { return makers_; }

 private:
  template <class Handler>
  void AddHandler(std::string_view tag_name);
  /// An attribute value as an absolute address, without its quotes and the white space in them.
  std::string ResolveValue(std::string_view value) const;

  const AdBlocking &ads_;
  const ScriptHandlerMakers makers_;
  // The host is asked for the two in this order.
  std::string host_name_;
  std::string page_url_;
  std::string current_link_;
  ScriptLanguage script_language_ = ScriptLanguage::JAVASCRIPT;
  bool popup_script_taken_ = false;
};

}  // namespace velmora
