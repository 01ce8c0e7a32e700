// Sheet: what is told of one thing, as a title and named values. The terminal prints it, the web
// page lays it out.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::command {

/// All of it may come from pages and lists: whoever shows it sees to that.
struct Sheet {
  std::string title{};
  std::vector<std::pair<std::string, std::string>> rows{};

  /// A value that is empty is left out.
  void Add(std::string_view name, std::string value) {
    if (!value.empty()) rows.emplace_back(name, std::move(value));
  }
};

/// For a terminal: the title, and a line for each value under it, beside names so wide.
std::string Text(const Sheet &sheet, std::size_t width_of_names);

}  // namespace velmora::command
