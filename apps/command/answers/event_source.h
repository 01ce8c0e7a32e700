// Where `velmora top` gets its events: a log that lives, or one that is read to its end.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace velmora::command {

/// A log that does not grow: compressed with gzip, or `STANDARD_INPUT`.
bool IsFinishedLog(const std::string &name);

/// Calls `on_line` with every line of a finished log. Throws `std::system_error` and
/// `std::runtime_error`.
void ReadFinishedLog(const std::string &name,
                     const std::function<void(std::string_view line)> &on_line);

}  // namespace velmora::command
