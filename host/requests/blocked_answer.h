// BlockedAnswer: what is answered in the place of a request that is not made.
//
// Whatever a page copes without fails, with 403 and an empty body of its type, as it does where the
// browser itself blocks: sites are tried with that, and a script that "arrived" empty would have
// the page go on as if what it defines were there. An image is transparent and arrives, because a
// broken one shows; so does the empty page of a frame, because browsers put an error page of their
// own into one that fails. A page is one that says what was blocked.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/requests/block_page.h"
#include "host/requests/request_head.h"
#include "host/requests/request_kind.h"

namespace velmora::host {

struct BlockedAnswer {
  int status = 403;
  std::string_view reason = "Forbidden";
  /// Without a length.
  std::vector<std::pair<std::string_view, std::string>> headers{};
  /// Empty where the request has a body: a host need not have taken all of that when it answers.
  std::string body{};
};

/// Who is to be told what.
struct BlockedReason {
  std::string_view id{};
  std::string_view rule{};
  std::string_view list{};
  /// `rule` is a site, and `list` the policy's category that it is blocked by.
  bool is_by_site = false;
};

BlockedAnswer AnswerTo(const RequestHead &request, const RequestKind &kind,
                       const BlockedReason &reason, const WaysOn &ways);

/// A page of the filter's own; without its body where the request has one. In a frame it shows only
/// if nothing can be pressed in it.
BlockedAnswer PageAnswer(const RequestHead &request, int status, std::string_view reason,
                         std::string page, bool may_be_framed = false);

}  // namespace velmora::host
