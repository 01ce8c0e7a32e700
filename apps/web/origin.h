// Whether a request was meant for this page, and made by it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "web/request.h"

namespace velmora::web {

/// The host of a Host header, in lower case and without the port; empty when it is none.
std::string HostOf(std::string_view header);

/// Another site can have its own name lead to this machine, and so have a browser ask this page in
/// that name. So only addresses, "localhost", and names that are known as this page's are answered.
bool IsOwnHost(std::string_view header, const std::vector<std::string> &names);

/// A form of another site, as far as the browser tells.
bool IsFromElsewhere(const Request &request);

}  // namespace velmora::web
