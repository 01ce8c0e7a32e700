#include "web/layout.h"
#include "web/pages/pages.h"
#include "web/passwords.h"

namespace velmora::web {

Response LoginPage(const Visit &visit) {
  Markup html;
  if (!HasPasswords(PasswordsOf(visit.options))) {
    html << "<p>Nobody has set a password yet. Whoever runs the filter does, on its machine:</p>\n"
            "<pre><code>sudo velmora web --set-password</code></pre>\n"
            "<p>or follows the link that <code>velmora web</code> printed when it started "
            "(<code>journalctl -u velmora-web</code>).</p>\n";
    return Page(visit, "Log in", html);
  }
  if (!visit.request.Field("wrong").empty()) {
    html << "<p class=\"problem\" role=\"alert\">That is not one of the passwords.</p>\n";
  }
  html << "<form method=\"post\" action=\"/login\" class=\"narrow\">\n"
       << Hidden("next", visit.request.Field("next"))
       << "<label>Password\n<input type=\"password\" name=\"password\" required autofocus "
          "autocomplete=\"current-password\"></label>\n<button>Log in</button>\n</form>\n";
  return Page(visit, "Log in", html);
}

}  // namespace velmora::web
