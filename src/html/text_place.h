// TextPlace: row and column of the next character, for trace lines.
#pragma once

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
};

}  // namespace velmora
