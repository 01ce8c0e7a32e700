// The pages that the filter itself answers: HTML in UTF-8, in English or German as the browser asks
// for it, for keyboards and small screens. No script, no outside resources.
#pragma once

#include <string>
#include <string_view>

#include "host/requests/request_head.h"

namespace velmora::host {

struct BlockedReason;

/// Ways on from a block page; one that is empty is not offered.
struct WaysOn {
  /// Paths for a form to post to: the URL is fetched once; the site is not touched any more for
  /// this client.
  std::string open{};
  std::string allow{};
  /// A URL to go to: the same, as a page of its own. For what may have been meant as a frame.
  std::string link{};
};

/// In the place of a page that is blocked.
std::string BlockPage(const RequestHead &request, const BlockedReason &reason, const WaysOn &ways);
/// A button was pressed that is no longer good.
std::string StalePage(const RequestHead &request);
/// The site of the URL is let through from now on; the page goes on to it by itself.
std::string AllowedPage(const RequestHead &request, std::string_view url);
/// A button could not be obeyed.
std::string FailedPage(const RequestHead &request);

}  // namespace velmora::host
