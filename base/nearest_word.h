// The word that a mistyped one was likely meant to be.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::base {

/// How many letters have to be typed, taken away or changed to make one word of the other.
inline std::size_t EditDistance(std::string_view from, std::string_view to) {
  // Distances of the letters of `from` so far to each beginning of `to`.
  std::vector<std::size_t> row(to.size() + 1);
  for (std::size_t i = 0; i < row.size(); ++i) row[i] = i;
  for (const char letter : from) {
    std::size_t diagonal = std::exchange(row[0], row[0] + 1);
    for (std::size_t i = 0; i < to.size(); ++i) {
      const std::size_t changed = diagonal + (letter == to[i] ? 0 : 1);
      diagonal = row[i + 1];
      row[i + 1] = std::min({changed, row[i] + 1, row[i + 1] + 1});
    }
  }
  return row.back();
}

/// The nearest of some words, the first of those that are equally near; empty when not even that
/// has two thirds of its letters in common with the one that was typed.
inline std::string_view NearestWord(std::string_view typed,
                                    std::span<const std::string_view> words) {
  std::string_view nearest;
  std::size_t least = std::max<std::size_t>(1, typed.size() / 3) + 1;
  if (typed.size() > 64) return nearest;
  for (const std::string_view word : words) {
    const std::size_t distance = EditDistance(typed, word);
    if (distance >= least) continue;
    least = distance;
    nearest = word;
  }
  return nearest;
}

}  // namespace velmora::base
