// Who may do what on the web page.
#pragma once

namespace velmora::web {

/// Each may what those before it may.
enum class Role { NOBODY, VIEW, CHANGE };

}  // namespace velmora::web
