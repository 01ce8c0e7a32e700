#include "web/chart.h"

#include <algorithm>
#include <fmt/format.h>

#include "web/layout.h"

namespace velmora::web {
namespace {

constexpr double WIDTH = 720;
constexpr double HEIGHT = 180;
/// Where the bars stand, above their labels and below the greatest value.
constexpr double TOP = 26;
constexpr double BOTTOM = HEIGHT - 24;
constexpr std::size_t MOST_LABELS = 8;

std::string Length(double length) {
  return fmt::format("{:.1f}", length);
}

}  // namespace

Markup BarChart(const std::vector<Bar> &bars, std::string_view about) {
  Markup svg;
  if (bars.empty()) return svg;
  const Bar &greatest = *std::ranges::max_element(bars, {}, &Bar::value);
  const auto most = std::max<std::uint64_t>(greatest.value, 1);
  svg << "<svg class=\"chart\" viewBox=\"0 0 " << Length(WIDTH) << " " << Length(HEIGHT)
      << "\" role=\"img\" aria-label=\"" << about << ", the most: " << greatest.told
      << "\">\n<text x=\"0\" y=\"18\">" << Number(most) << "</text>\n";
  const double step = WIDTH / static_cast<double>(bars.size());
  std::size_t labels = 0;
  const auto begins_label = [&](std::size_t at) {
    return at == 0 || bars[at].label != bars[at - 1].label;
  };
  for (std::size_t at = 0; at < bars.size(); ++at) labels += begins_label(at) ? 1 : 0;
  const std::size_t labels_each =
      std::max<std::size_t>((labels + MOST_LABELS - 1) / MOST_LABELS, 1);
  std::size_t label = 0;
  for (std::size_t at = 0; at < bars.size(); ++at) {
    const Bar &bar = bars[at];
    const double left = step * static_cast<double>(at);
    // What there was is to be seen, however little.
    const double height = bar.value == 0
                              ? 0
                              : std::max(1.5, (BOTTOM - TOP) * static_cast<double>(bar.value) /
                                                  static_cast<double>(most));
    svg << "<rect class=\"bar\" rx=\"1.5\" x=\"" << Length(left + step * 0.1) << "\" y=\""
        << Length(BOTTOM - height) << "\" width=\"" << Length(step * 0.8) << "\" height=\""
        << Length(height) << "\"><title>" << bar.told << "</title></rect>\n";
    if (begins_label(at) && label++ % labels_each == 0 && left < WIDTH * 0.93) {
      svg << "<text x=\"" << Length(left) << "\" y=\"" << Length(HEIGHT - 5) << "\">" << bar.label
          << "</text>\n";
    }
  }
  svg << "<line class=\"axis\" x1=\"0\" x2=\"" << Length(WIDTH) << "\" y1=\"" << Length(BOTTOM)
      << "\" y2=\"" << Length(BOTTOM) << "\"/>\n</svg>\n";
  return svg;
}

Markup ShareLine(std::uint64_t part, std::uint64_t whole) {
  const double width =
      whole == 0 ? 0 : 100 * static_cast<double>(part) / static_cast<double>(whole);
  Markup svg;
  svg << "<svg viewBox=\"0 0 100 6\" preserveAspectRatio=\"none\" aria-hidden=\"true\">"
         "<rect width=\"100\" height=\"6\" rx=\"2\"/><rect class=\"bar\" height=\"6\" width=\""
      << Length(width) << "\"/></svg>";
  return svg;
}

}  // namespace velmora::web
