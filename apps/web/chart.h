// Charts as pictures in the page itself, which need no script.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "web/markup.h"

namespace velmora::web {

struct Bar {
  /// Under the chart, once for bars of the same; those that do not fit are left out.
  std::string label{};
  /// What a reader, or a pointer that rests on it, is told.
  std::string told{};
  std::uint64_t value = 0;
};

/// Bars side by side, over an axis of time. `about` says in words what it shows.
Markup BarChart(const std::vector<Bar> &bars, std::string_view about);

/// A part of a whole, as a line.
Markup ShareLine(std::uint64_t part, std::uint64_t whole);

}  // namespace velmora::web
