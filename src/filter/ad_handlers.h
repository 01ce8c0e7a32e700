// The handlers of the elements that can be advertisements or Flash; SCRIPT has a file of its own.
#pragma once

#include "filter/ad_handler.h"

namespace velmora {

using CAppletAdHandler = CPlainAdHandler<APPLET_ADS>;
using CFormHandler = CPlainAdHandler<FORM_ADS>;
using CIFrameHandler = CPlainAdHandler<IFRAME_ADS>;

/// Also tells the library of every link, at its end tag, unless links are kept.
class CAnchorAdHandler final : public CAdHandler {
 public:
  CAnchorAdHandler(IDataContext &context, CAdPopupFilter &filter)
      : CAdHandler(context, filter, ANCHOR_ADS) {}
  void AddInterest(Interest &interest, std::string_view tag_name) const override;
  std::int32_t OnStartTag(CHTMLElement &element) override;
  std::int32_t OnEndTag(CHTMLElement &element) override;
};

/// Removes an image at once, since it has no end tag. Wraps the event handlers of one that may
/// stay.
class CImgHandler final : public CAdHandler {
 public:
  CImgHandler(IDataContext &context, CAdPopupFilter &filter);
  void AddInterest(Interest &interest, std::string_view tag_name) const override;
  std::int32_t OnStartTag(CHTMLElement &element) override;

 private:
  std::int32_t WrapEventHandlers(CHTMLElement &element) const;

  const bool blocks_popups_;
};

/// Checks for Flash first. An element that is Flash is not checked for advertisements.
class CFlashHandler : public CAdHandler {
 public:
  std::int32_t OnStartTag(CHTMLElement &element) override;

 protected:
  /// Asks for category 303 after those of the advertisements.
  CFlashHandler(IDataContext &context, CAdPopupFilter &filter, const AdRule &rule,
                const FlashRule &flash);

 private:
  bool IsFlash(const CHTMLElement &element) const;

  const FlashRule &flash_;
  const bool blocks_flash_;
};

class CEmbedHandler final : public CFlashHandler {
 public:
  CEmbedHandler(IDataContext &context, CAdPopupFilter &filter);
};

/// Holds an OBJECT whose URLs it checks: a PARAM in it can have it removed.
class CObjectHandler final : public CFlashHandler {
 public:
  CObjectHandler(IDataContext &context, CAdPopupFilter &filter);
  std::int32_t OnStartTag(CHTMLElement &element) override;
};

/// Checks the movie of an OBJECT; an advertisement takes the whole OBJECT with it.
class CParamHandler final : public CAdHandler {
 public:
  CParamHandler(IDataContext &context, CAdPopupFilter &filter)
      : CAdHandler(context, filter, PARAM_ADS) {}
  std::int32_t OnStartTag(CHTMLElement &element) override;

 private:
  std::string Describe(const CHTMLElement &element, std::string_view attribute,
                       std::string_view value) const override;
};

}  // namespace velmora
