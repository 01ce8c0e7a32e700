// What was allowed since, the same as `velmora allow` and `velmora undo`.
#include <stdexcept>
#include <string>
#include <vector>

#include "command/answers/allowing.h"
#include "host/policy/exceptions.h"
#include "web/layout.h"
#include "web/pages/pages.h"
#include "web/pages/parts.h"

namespace velmora::web {
namespace {

Markup TakeBackButton(const Visit &visit, const std::string &described, Literal label) {
  if (visit.session.role != Role::CHANGE) return {};
  Markup fields;
  fields << Hidden("exception", described);
  return Button(visit, "/take-back", fields, label);
}

/// Throws `std::invalid_argument` that says what is wrong with a field.
host::Exception ExceptionOf(const Request &request, const host::Policy &policy) {
  host::Exception exception;
  exception.site.Add(request.Field("site"));
  const auto fill = [&](std::string_view name, auto take) {
    if (const std::string text(request.Field(name)); !text.empty()) take(text);
  };
  fill("client", [&](const std::string &text) {
    if (text.starts_with(GROUP)) {
      command::LimitToGroup(exception, policy, text.substr(GROUP.size()));
    } else {
      exception.client = host::ClientNetwork::Parse(text);
    }
  });
  fill("for", [&](const std::string &text) { command::RunOutIn(exception, text); });
  fill("categories",
       [&](const std::string &text) { command::LimitToCategories(exception, policy, text); });
  return exception;
}

/// What is allowed, the newest first.
Markup AllowedRows(const Visit &visit, const std::vector<host::Exception> &exceptions) {
  Markup html;
  html << "<ul class=\"rows\">\n";
  for (auto each = exceptions.rbegin(); each != exceptions.rend(); ++each) {
    const std::string described = Describe(*each);
    html << "<li><span class=\"grow\">" << described << "</span>"
         << TakeBackButton(visit, described, "Take back") << "</li>\n";
  }
  html << "</ul>\n";
  return html;
}

}  // namespace

Response AllowedPage(const Visit &visit) {
  const host::Policy policy = CurrentPolicy(visit);
  Markup html;
  html << "<p>What was let through since the policy was written. A running proxy takes each change "
          "within a second.</p>\n";
  if (policy.exceptions.empty()) {
    html << "<p class=\"empty\">Nothing is allowed so far.</p>\n";
  } else {
    html << AllowedRows(visit, policy.exceptions);
  }
  if (visit.session.role == Role::CHANGE) {
    html << "<h2>Allow a site</h2>\n" << AllowForm(visit, policy, "", "", "");
  }
  return Page(visit, "Allowed", html);
}

Response Allow(const Visit &visit) {
  const host::Policy policy = host::ReadPolicy(visit.options.policy);
  host::Exception exception;
  try {
    exception = ExceptionOf(visit.request, policy);
  } catch (const std::invalid_argument &error) {
    Markup html;
    html << "<p class=\"problem\" role=\"alert\">" << std::string(error.what()) << "</p>\n"
         << AllowForm(visit, policy, std::string(visit.request.Field("site")), "", "");
    return Page(visit, "That cannot be allowed", html, 400);
  }
  host::AddException(policy.exceptions_file, exception);
  const std::string described = Describe(exception);
  Markup html;
  html << "<p class=\"done\" role=\"status\">" << described << "</p>\n"
       << "<p>The proxy takes it within a second; load the page again then.</p>\n"
       << TakeBackButton(visit, described, "Undo")
       << "<p><a href=\"/allowed\">All that is allowed</a></p>\n";
  return Page(visit, "Allowed", html);
}

Response TakeBack(const Visit &visit) {
  const std::filesystem::path file = command::ExceptionsOf(visit.options.policy);
  const std::string_view described = visit.request.Field("exception");
  // Whoever was faster has done the same.
  if (!described.empty()) host::TakeExceptionBack(file, described);
  return GoTo("/allowed");
}

}  // namespace velmora::web
