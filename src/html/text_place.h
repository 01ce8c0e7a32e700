// TextPlace: row and column of the next character, for trace lines.
#pragma once

#include <algorithm>
#include <string_view>

namespace velmora {

struct TextPlace {
  int row = 1;
  int column = 1;

  /// Counts a consumed character: a line feed begins a row, a carriage return counts for nothing.
  void Advance(char16_t unit) noexcept {
    if (unit == u'\n') {
      ++row;
      column = 1;
    } else if (unit != u'\r') {
      ++column;
    }
  }
  /// The same for each of some ASCII characters.
  void AdvanceOver(std::string_view text) noexcept {
    const std::size_t last_line = text.rfind('\n');
    if (last_line != std::string_view::npos) {
      row += static_cast<int>(std::count(text.begin(), text.end(), '\n'));
      column = 1;
      text.remove_prefix(last_line + 1);
    }
    column += static_cast<int>(text.size()) -
              static_cast<int>(std::count(text.begin(), text.end(), '\r'));
  }
};

}  // namespace velmora
