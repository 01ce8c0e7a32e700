#include "web/layout.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>

#include "host/events/event.h"
#include "web/style.h"

namespace velmora::web {
namespace {

struct Place {
  Literal path;
  Literal label;
};

constexpr Place PLACES[] = {
    {"/", "Overview"},     {"/events", "Activity"}, {"/allowed", "Allowed"}, {"/lists", "Lists"},
    {"/policy", "Policy"}, {"/health", "Health"},   {"/setup", "Devices"},
};

constexpr Literal BEGIN =
    "<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
    "<meta name=\"color-scheme\" content=\"light dark\">\n";

constexpr Literal SHIELD =
    "<svg viewBox=\"0 0 24 24\" width=\"24\" height=\"24\" aria-hidden=\"true\">"
    "<path class=\"shield\" d=\"M12 2 4 5v6c0 5 3.4 9.4 8 11 4.6-1.6 8-6 8-11V5z\"/>"
    "<path class=\"tick\" d=\"m8 12 3 3 5-6\"/></svg>";

Markup Navigation(const Visit &visit) {
  Markup html;
  html << "<nav aria-label=\"Pages\"><ul>\n";
  for (const Place &place : PLACES) {
    const bool is_open = visit.session.role != Role::NOBODY || place.path.Text() == "/setup";
    if (!is_open) continue;
    html << "<li><a href=\"" << place.path << "\"";
    if (visit.request.path == place.path.Text()) html << " aria-current=\"page\"";
    html << ">" << place.label << "</a></li>\n";
  }
  html << "</ul></nav>\n";
  if (visit.session.role != Role::NOBODY) {
    html << Button(visit, "/logout", {}, "Log out");
  }
  return html;
}

std::tm LocalTime(std::chrono::system_clock::time_point time) {
  return fmt::localtime(std::chrono::system_clock::to_time_t(time));
}

}  // namespace

Response Page(const Visit &visit, std::string_view title, const Markup &content, int status) {
  Markup html;
  html << BEGIN
       << "<link rel=\"stylesheet\" href=\"/style.css\">\n"
          "<link rel=\"icon\" href=\"/icon.svg\" type=\"image/svg+xml\">\n<title>"
       << title
       << " · Velmora</title>\n</head>\n<body>\n"
          "<a class=\"skip\" href=\"#content\">To the content</a>\n"
          "<header><a class=\"brand\" href=\"/\">"
       << SHIELD << "Velmora</a>\n"
       << Navigation(visit) << "</header>\n<main id=\"content\">\n<h1>" << title << "</h1>\n"
       << content << "</main>\n</body>\n</html>\n";
  return {.status = status, .body = html.Html()};
}

std::string PageAlone(std::string_view title, const Markup &content) {
  Markup html;
  html << BEGIN
       << "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
          "'unsafe-inline'\">\n<style>"
       << STYLE << "</style>\n<title>" << title
       << " · Velmora</title>\n</head>\n<body>\n<main>\n<h1>" << title << "</h1>\n"
       << content << "</main>\n</body>\n</html>\n";
  return html.Html();
}

Markup Hidden(Literal name, std::string_view value) {
  Markup html;
  html << "<input type=\"hidden\" name=\"" << name << "\" value=\"" << value << "\">";
  return html;
}

Markup Form(const Visit &visit, Literal path, const Markup &content) {
  Markup html;
  html << "<form method=\"post\" action=\"" << path << "\">"
       << Hidden("form", visit.session.form_word) << content << "</form>\n";
  return html;
}

Markup Button(const Visit &visit, Literal path, const Markup &fields, Literal label) {
  Markup content = fields;
  content << "<button>" << label << "</button>";
  return Form(visit, path, content);
}

Markup Values(const command::Sheet &sheet) {
  Markup html;
  html << "<dl>\n";
  for (const auto &[name, value] : sheet.rows) {
    html << "<div><dt>" << name << "</dt><dd>" << value << "</dd></div>\n";
  }
  html << "</dl>\n";
  return html;
}

std::string Number(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3; at -= 3) text.insert(at - 3, ",");
  return text;
}

std::string Bytes(std::int64_t bytes) {
  constexpr std::array<const char *, 5> UNITS = {"bytes", "kB", "MB", "GB", "TB"};
  auto value = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; std::abs(value) >= 1000 && unit + 1 < UNITS.size(); ++unit) value /= 1000;
  return unit == 0 ? fmt::format("{} bytes", bytes) : fmt::format("{:.1f} {}", value, UNITS[unit]);
}

std::string TimeOfDay(std::chrono::system_clock::time_point time) {
  const std::tm local = LocalTime(time);
  const std::tm today = LocalTime(std::chrono::system_clock::now());
  const bool is_today = local.tm_yday == today.tm_yday && local.tm_year == today.tm_year;
  return is_today ? fmt::format("{:%H:%M:%S}", local) : fmt::format("{:%Y-%m-%d %H:%M}", local);
}

Markup Moment(std::chrono::system_clock::time_point time) {
  Markup html;
  html << "<time datetime=\"" << host::TimeText(time) << "\">" << TimeOfDay(time) << "</time>";
  return html;
}

}  // namespace velmora::web
