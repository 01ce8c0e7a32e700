// CSecurityPolicyHandler: META elements by which a page says what its browser is to run.
#pragma once

#include "filter/filter_element_handler.h"

namespace velmora {

/// Tells the host of the policy. Before one that would not run the restoring script, that script is
/// put in.
class CSecurityPolicyHandler final : public CFilterElementHandler {
 public:
  using CFilterElementHandler::CFilterElementHandler;
  std::int32_t OnStartTag(CHTMLElement &element) override;
};

}  // namespace velmora
