// The report as a page, which looks as those of `velmora web` do.
#include <algorithm>
#include <string>

#include "command/activity_report.h"
#include "web/chart.h"
#include "web/layout.h"
#include "web/sums.h"

namespace velmora::command {
namespace {

using web::Markup;

Markup Row(const store::Sum &sum, store::Dimension by, std::uint64_t most) {
  Markup html;
  html << "<tr><td>" << RowName(sum, by) << web::ShareLine(sum.counts.blocked, most) << "</td><td>"
       << web::Number(sum.counts.blocked) << "</td><td>" << web::Number(sum.counts.requests_saved)
       << "</td>";
  if (HasBytes(by)) html << "<td>" << web::Bytes(sum.counts.bytes_saved) << "</td>";
  html << "</tr>\n";
  return html;
}

Markup Table(const ReportSection &section) {
  const std::string name = NameOf(section.by);
  std::uint64_t most = 0;
  for (const store::Sum &sum : section.sums) most = std::max(most, sum.counts.blocked);
  Markup html;
  html << "<section class=\"card\"><h2>By " << name << "</h2>\n<table>\n<tr><th scope=\"col\">"
       << name << "</th><th scope=\"col\">blocked</th><th scope=\"col\">requests</th>";
  if (HasBytes(section.by)) html << "<th scope=\"col\">saved</th>";
  html << "</tr>\n";
  for (const store::Sum &sum : section.sums) html << Row(sum, section.by, most);
  html << "</table></section>\n";
  return html;
}

}  // namespace

std::string AsHtml(const ActivityReport &report) {
  Markup html;
  html << "<p>" << TitleOf(report) << "</p>\n" << web::Tiles(report.total);
  for (const std::string &trouble : TroublesOf(report)) {
    html << "<p class=\"problem\">" << trouble << "</p>\n";
  }
  html << web::OverTime(report.hours, report.from, report.until);
  for (const ReportSection &section : report.sections) html << Table(section);
  return web::PageAlone("What was blocked", html);
}

}  // namespace velmora::command
