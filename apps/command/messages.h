// What the command says on standard error.
#pragma once

#include <string>
#include <string_view>

namespace velmora::command {

/// Writes a line with the command's name in front.
void PrintMessage(std::string_view message) noexcept;

/// Writes a line as it is.
void PrintLine(std::string_view line) noexcept;

/// A text from a page, fit for a terminal: control characters as \xNN.
std::string Printable(std::string_view text);

}  // namespace velmora::command
